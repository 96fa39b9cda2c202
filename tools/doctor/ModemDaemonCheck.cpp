// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A modem daemon may open ttys that look like a modem's, as the cover's does. A rule rules it out.
#include <ctype.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>

#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

constexpr char kCheck[] = "modem";
constexpr char kDaemon[] = "ModemManager";

// From the least to the most important: a file hides the files of its name in the folders before.
constexpr const char* kRuleFolders[] = {"/lib/udev/rules.d", "/usr/lib/udev/rules.d",
                                        "/usr/local/lib/udev/rules.d", "/run/udev/rules.d",
                                        "/etc/udev/rules.d"};

std::string running(const Tree& machine) {
    for (const std::string& name : machine.names("/proc")) {
        if (machine.text("/proc/" + name + "/comm") == kDaemon) return name;
    }
    return "";
}

// The lines of a rules file, continued ones as one.
std::string joinContinued(std::string text) {
    for (size_t at; (at = text.find("\\\n")) != std::string::npos;) text.erase(at, 2);
    return text;
}

bool keepsDaemonOff(const std::string& rule) {
    if (rule.empty() || rule[0] == '#') return false;
    std::string lower = rule;
    std::transform(lower.begin(), lower.end(), lower.begin(), tolower);
    for (const char* part : {"id_mm_device_ignore}=\"1\"", "\"3e91\"", "\"6a2f\""}) {
        if (lower.find(part) == std::string::npos) return false;
    }
    return true;
}

bool hasRule(const std::string& text) {
    std::istringstream lines(joinContinued(text));
    for (std::string line; std::getline(lines, line);) {
        if (keepsDaemonOff(line)) return true;
    }
    return false;
}

std::string findRule(const Tree& machine) {
    std::map<std::string, std::string> files;
    for (const std::string folder : kRuleFolders) {
        for (const std::string& name : machine.names(folder)) {
            if (name.ends_with(".rules")) files[name] = folder + "/" + name;
        }
    }
    for (const auto& [name, path] : files) {
        if (hasRule(machine.text(path).value_or(""))) return path;
    }
    return "";
}

constexpr char kRemedy[] =
        "It may open ttys that look like a modem's; version 1.20 did not open the cover's in 30 "
        "seconds. To make sure, put this line into "
        "/etc/udev/rules.d/70-bivista.rules: ATTRS{idVendor}==\"3e91\", "
        "ATTRS{idProduct}==\"6a2f\", ENV{ID_MM_DEVICE_IGNORE}=\"1\"; then: sudo udevadm control "
        "--reload, plug the cover in again, sudo systemctl restart ModemManager";

}  // namespace

Finding examineModemDaemon(const Tree& machine) {
    const std::string process = running(machine);
    if (process.empty()) return fine(kCheck, "no modem daemon runs");
    const std::string daemon = std::string(kDaemon) + " runs (process " + process + ")";
    const std::string rule = findRule(machine);
    if (!rule.empty()) return fine(kCheck, daemon + ", and " + rule + " keeps it off the cover");
    // No problem yet: a daemon that has the tty open is found among the tty's holders.
    return note(kCheck, daemon + ", and no udev rule keeps it off the cover", kRemedy);
}

}  // namespace doctor
