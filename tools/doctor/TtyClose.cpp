// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/TtyClose.h"

#include <sys/syscall.h>

#include <chrono>
#include <thread>

namespace doctor {
namespace {

// Where the kernel's tty layer waits; the thread's user may read that.
constexpr char kWait[] = "tty_wait_until_sent";

// On an emulated phone the emulator holds up the call, so the call itself counts. Kernels that
// restrict tracing show it to root alone.
bool isInClose(const Tree& machine, const std::string& thread) {
    const std::string call = machine.text(thread + "/syscall").value_or("");
    return machine.text(thread + "/wchan") == kWait ||
           call.starts_with(std::to_string(SYS_close) + " ");
}

// A close that does not wait is over at the next look.
bool staysInClose(const Tree& machine, const std::string& thread) {
    constexpr int kLooks = 3;
    constexpr std::chrono::milliseconds kPause(50);
    for (int look = 1; isInClose(machine, thread); ++look) {
        if (look == kLooks) return true;
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

}  // namespace

std::optional<std::string> threadInClose(const Tree& machine, pid_t process) {
    const std::string threads = "/proc/" + std::to_string(process) + "/task";
    for (const std::string& name : machine.names(threads)) {
        const std::string thread = threads + "/" + name;
        if (staysInClose(machine, thread)) return machine.text(thread + "/comm").value_or(name);
    }
    return std::nullopt;
}

}  // namespace doctor
