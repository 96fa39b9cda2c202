// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/run/ProgramRun.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/Message.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/world/Keeper.h"
#include "emulator/phone/world/World.h"

namespace run {

namespace {

int exitStatus(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// An error that the caller's limits may have caused.
bool isOfLimits(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return true;
    const auto* failure = dynamic_cast<const std::system_error*>(&error);
    if (failure == nullptr) return false;
    const std::error_code code = failure->code();
    return code == std::errc::resource_unavailable_try_again ||
           code == std::errc::not_enough_memory || code == std::errc::too_many_files_open;
}

// Reports why there is no phone, or none any more.
int failPhone(const std::exception& error) {
    const char* remedy = isOfLimits(error) ? "more memory, threads or descriptors are needed, see "
                                             "\"ulimit -a\": "
                                           : "";
    cli::complain(kProgram, std::string(remedy) + error.what());
    return kPhoneFailed;
}

// The terminate handler, for exceptions on other threads.
[[noreturn]] void endOnUncaughtException() {
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception& error) {
        _exit(failPhone(error));
    }
}

}  // namespace

void refuseHidden(const std::string& path, const char* what) {
    if (path.empty() || !phone::isHiddenByWorld(path)) return;
    throw phone::Error(std::string(what) + " " + path +
                       " lies in a folder that the phone has as its own (/dev, /sys, /data, "
                       "/system_ext): use a copy elsewhere");
}

void refuseHiddenProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) refuseHidden(program, "the program");
}

void enterWorld() {
    phone::blockAttendedSignals();
    const std::string forbidden = phone::enterWorld();
    if (!forbidden.empty()) throw phone::Error(forbidden);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void setEnvironment(const std::string& registry) {
    setenv("HIDL_SOCKET_DIR", registry.c_str(), 1);
    unsetenv("ANDROID_PROPERTY_FILE");
}

int runProgram(const std::function<pid_t()>& spawn, const std::function<void(pid_t)>& started,
               const std::function<void()>& ended) {
    pid_t program = -1;
    try {
        program = spawn();
    } catch (const phone::Error& error) {
        cli::complain(kProgram, error.what());
        return kProgramFailed;
    }
    started(program);
    const int status = phone::attend(program);
    ended();
    // Children are left only when the program's keeper was killed.
    phone::endChildren();
    return exitStatus(status);
}

void tellOfLostJournal(const phone::Journal& journal, const std::string& file) {
    journal.sync();
    const int error = journal.fileError();
    if (error == 0) return;
    cli::complain(kProgram, "the journal " + file + " is not whole: " + strerror(error));
}

int guard(const std::function<int()>& work) {
    std::set_terminate(endOnUncaughtException);
    try {
        return work();
    } catch (const std::exception& error) {
        return failPhone(error);
    }
}

}  // namespace run
