// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone below the service: the emulated one, or this machine.
#include <unistd.h>

#include "cli/Beside.h"
#include "host/hidl/Registry.h"
#include "tools/doctor/FileTree.h"
#include "tools/report/Gathering.h"
#include "tools/report/Program.h"

namespace report {
namespace {

constexpr std::chrono::seconds kPatience(10);

bool isEmulated() {
    const std::string socket = ::android::hardware::registry::directory() + "/emulator.sock";
    return access(socket.c_str(), F_OK) == 0;
}

void gatherFromEmulator(const char* name, const std::vector<std::string>& words,
                        Gathering* gathering) {
    std::vector<std::string> command = {cli::findBeside("bivista-emulator"), "ctl"};
    if (command.front().empty()) command.front() = "bivista-emulator";
    command.insert(command.end(), words.begin(), words.end());
    const Printed printed = runProgram(command, kMostLog, kPatience);
    if (printed.fault.empty()) {
        gathering->add(name, printed.text);
    } else {
        gathering->miss(name, "the emulator could not be asked", printed.fault);
    }
}

void gatherEmulatedPhone(pid_t service, Gathering* gathering) {
    gatherFromEmulator(kPhoneState, {"show", "--json"}, gathering);
    gatherFromEmulator(kPhoneJournal, {"journal"}, gathering);
    const auto log = doctor::Tree("/proc/" + std::to_string(service) + "/root").text("/dev/kmsg");
    if (log) {
        gathering->add(kKernelLog, lastLines(*log + "\n", kMostLog));
    } else {
        gathering->miss(kKernelLog,
                        "the emulated phone's kernel log is read by way of its service, which does "
                        "not run, or runs elsewhere");
    }
}

// The first of these that may be read.
void gatherKernelMessages(Gathering* gathering) {
    std::string faults;
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"dmesg", "--time-format", "iso"},
          std::vector<std::string>{"journalctl", "--no-pager", "--quiet", "--dmesg", "--lines",
                                   "20000", "--output", "short-iso-precise"}}) {
        const Printed printed = runProgram(command, kMostLog, kPatience);
        if (!printed.text.empty()) return gathering->add(kKernelLog, printed.text);
        faults += (faults.empty() ? "" : "; ") +
                  (printed.fault.empty() ? command.front() + " prints nothing" : printed.fault);
    }
    gathering->miss(kKernelLog, "the kernel's messages cannot be read: root may", faults);
}

}  // namespace

void gatherPhone(pid_t service, Gathering* gathering) {
    if (isEmulated()) {
        gatherEmulatedPhone(service, gathering);
    } else {
        gatherKernelMessages(gathering);
    }
}

}  // namespace report
