// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/Device.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include "bench/Cpu.h"
#include "emulator/phone/world/World.h"

namespace bench {

namespace {

// Standard error as the program got it.
int sStandardError = STDERR_FILENO;

}  // namespace

void fail(const std::string& what) {
    dprintf(sStandardError, "%s: %s\n", program_invocation_short_name, what.c_str());
    // The service's threads, if any, must not see the end of the process in their middle.
    _exit(1);
}

Device::Device(const cover::Options& cover) {
    if (const std::string error = phone::enterWorld(); !error.empty()) fail(error);
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    useCpu(1);
    mPhone = new phone::Phone();
    useCpu(0);
    mService = new Bivista();
    mService->incStrong(nullptr);
    mPhone->cover.setOptions(cover);
    phone::CoverOptions withoutPanel;
    withoutPanel.withHid = false;
    mPhone->cover.attach(withoutPanel);
    // The last command of the attach; what is measured waits for its end.
    mPhone->journal().waitFor(phone::beginsWith(phone::Kind::TtyRx, "AT%TCHUPDATE="));
}

void Device::end() {
    std::fflush(nullptr);
    _exit(0);
}

Logging::Logging(int priority) {
    const int terminal = dup(STDERR_FILENO);
    const int log = open("/data", O_TMPFILE | O_WRONLY | O_APPEND, 0600);
    if (terminal < 0 || log < 0 || dup2(log, STDERR_FILENO) < 0) fail("no file for the log");
    close(log);
    sStandardError = terminal;
    __android_log_set_minimum_priority(priority);
}

Logging::~Logging() {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    dup2(sStandardError, STDERR_FILENO);
    close(std::exchange(sStandardError, STDERR_FILENO));
}

}  // namespace bench
