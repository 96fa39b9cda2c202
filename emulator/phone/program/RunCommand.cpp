// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/RunCommand.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/Message.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/calls/ClientCalls.h"
#include "emulator/phone/control/ControlServer.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/neighbours/Neighbours.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/JournalStream.h"
#include "emulator/phone/world/Files.h"
#include "emulator/phone/world/Keeper.h"
#include "emulator/phone/world/ServiceProgram.h"
#include "emulator/phone/world/World.h"
#include "emulator/recording/Recording.h"
#include "emulator/ui/Companion.h"

namespace emulator {

namespace {

namespace fs = std::filesystem;

// Exit status of a run whose phone could not be made, or failed.
constexpr int kPhoneFailed = 125;
// Exit status when the program could not be started.
constexpr int kProgramFailed = 127;

struct RunOptions {
    bool noCover = false;
    int tty = 0;
    bool noHid = false;
    std::string firmwareVersion;          // empty: the cover's own
    std::vector<std::string> properties;  // "key=value"
    std::vector<std::string> faults;
    std::string journal;  // file; empty: none
    bool ui = false;
    bool open = false;
    std::vector<std::string> program;
};

void refuseHidden(const std::string& path, const char* what) {
    if (path.empty() || !phone::isHiddenByWorld(path)) return;
    throw phone::Error(std::string(what) + " " + path +
                       " lies in a folder that the phone has as its own (/dev, /sys, /data, "
                       "/system_ext): use a copy elsewhere");
}

// The journal's first line. What is set later has entries.
std::string headerOf(const phone::Phone& phone) {
    recording::Header header;
    header.program = kProgram + std::string(" " BIVISTA_VERSION);
    header.files = phone.files.firstContents();
    return recording::toJson(header);
}

void setUp(phone::Phone& phone, const RunOptions& options, JournalStream* stream) {
    if (stream != nullptr) {
        stream->carry(phone.journal(), headerOf(phone));
    } else if (!options.journal.empty() &&
               !phone.journal().writeTo(options.journal, headerOf(phone))) {
        phone::throwErrno("cannot write the journal " + options.journal);
    }
    for (const std::string& property : options.properties) {
        const size_t equals = property.find('=');
        phone.properties.set(property.substr(0, equals), property.substr(equals + 1));
    }
    for (const std::string& fault : options.faults) phone.faults.set(fault);
    if (!options.firmwareVersion.empty()) {
        cover::Options cover = phone.cover.options();
        cover.version = options.firmwareVersion;
        phone.cover.setOptions(cover);
    }
    phone.usbPower.setFirstOptions(phone::kKernelPower);
    if (options.noCover) return;
    phone::CoverOptions cover;
    cover.tty = options.tty;
    cover.withHid = !options.noHid;
    phone.cover.attach(cover);
}

void tellOfLostJournal(const phone::Journal& journal, const std::string& file) {
    journal.sync();
    const int error = journal.fileError();
    if (error == 0) return;
    cli::complain(kProgram, "the journal " + file + " is not whole: " + strerror(error));
}

int exitStatus(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int runOnPhone(const RunOptions& options, const std::string& folder, JournalStream* stream,
               std::unique_ptr<ui::Companion> page) {
    phone::Phone phone;
    setUp(phone, options, stream);
    // The program is root here, whichever user started it. It must use the same folder as its
    // clients.
    setenv("HIDL_SOCKET_DIR", folder.c_str(), 1);
    unsetenv("ANDROID_PROPERTY_FILE");
    neighbours::Neighbours neighbours(phone);
    const control::ControlServer server(phone, neighbours, folder);
    // After the server, which makes sure that the folder has no other emulator.
    const calls::ClientCalls calls(phone, folder);
    neighbours.serve();
    pid_t program = -1;
    try {
        program = phone.spawn(options.program);
    } catch (const phone::Error& error) {
        cli::complain(kProgram, error.what());
        return kProgramFailed;
    }
    const int status = phone::attend(program);
    page.reset();
    // Children are left only when the program's keeper was killed.
    phone::endChildren();
    tellOfLostJournal(phone.journal(), options.journal);
    return exitStatus(status);
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

// Runs until the program ends; returns its exit status (128 + signal when one ended it).
int runProgram(const RunOptions& options) {
    const std::string folder = fs::absolute(control::socketFolder());
    refuseHidden(folder, "the socket folder");
    if (options.program[0].find('/') != std::string::npos) {
        refuseHidden(options.program[0], "the program");
    }
    control::makeSocketFolder(folder);
    const std::unique_ptr<JournalStream> stream = JournalStream::openSpecial(options.journal);
    // A special file is open already: it may be a terminal, or /dev/fd/63 of a shell.
    if (stream == nullptr) refuseHidden(options.journal, "the journal");
    // Outside of the world, whose network is another one.
    std::unique_ptr<ui::Companion> page;
    if (options.ui) page = std::make_unique<ui::Companion>(options.open);
    phone::blockAttendedSignals();
    const std::string forbidden = phone::enterWorld();
    if (!forbidden.empty()) throw phone::Error(forbidden);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    return runOnPhone(options, folder, stream.get(), std::move(page));
}

// False when there is none, which it reports.
bool takeService(std::vector<std::string>& program) {
    try {
        program = {phone::findService()};
        return true;
    } catch (const phone::Error& error) {
        cli::complain(kProgram, error.what() + std::string(": name what to run after \"--\""));
        return false;
    }
}

// The same; without a program, runs the service. Reports errors on standard error.
int run(RunOptions& options) {
    std::set_terminate(endOnUncaughtException);
    if (options.program.empty() && !takeService(options.program)) return kProgramFailed;
    try {
        return runProgram(options);
    } catch (const std::exception& error) {
        return failPhone(error);
    }
}

std::string checkProperty(const std::string& text) {
    return text.find('=') == std::string::npos ? "write KEY=VALUE" : "";
}

}  // namespace

void addRun(cli::Command& program) {
    const auto options = std::make_shared<RunOptions>();
    cli::Command& command = program.add("run", "Run a program on an emulated phone");
    command.flag("--no-cover", &options->noCover, "Start without the cover");
    command.take("--tty", &options->tty, "Number of the cover's ttyACM")
            .range(0, 255)
            .showDefault();
    command.flag("--no-hid", &options->noHid, "Cover without its panel's hidraw node");
    command.take("--firmware-version", &options->firmwareVersion, "The cover's answer to AT%SWV");
    command.takeRepeated("--property", &options->properties,
                         "System property KEY=VALUE; repeatable")
            .check(checkProperty);
    command.takeRepeated("--fault", &options->faults,
                         "Fault, see \"ctl fault --help\"; repeatable");
    command.take("--journal", &options->journal, "Write the journal to this file, as a recording");
    const cli::Option ui = command.flag("--ui", &options->ui,
                                        "Show the phone on a page, see \"ui --help\"; standard "
                                        "error has its address");
    command.flag("--open", &options->open, "Open the page in the browser").needs(ui);
    command.takeWords("PROGRAM", &options->program,
                      "After \"--\": the program and its arguments; without: the service that lies "
                      "beside this program");
    command.setHelp(
            "The program finds the phone's devices at their own paths (/dev, /sys, /data and\n"
            "/system_ext are the phone's); everything else is as outside. The phone ends with it.\n"
            "The journal may go into a FIFO: the phone starts when a program reads it, and never "
            "waits for\n"
            "its reader then.\n\n"
            "Exit status: that of the program, 128 + N when signal N ended it; 2 wrong arguments; "
            "125 no\n"
            "phone could be made, or it ran out of memory, descriptors or threads; 127 the program "
            "could\n"
            "not be started.\n\n"
            "Examples:\n"
            "  bivista-emulator run\n"
            "  bivista-emulator run --no-cover --journal /tmp/journal.jsonl -- sh");
    command.setAction([options] { return run(*options); });
}

}  // namespace emulator
