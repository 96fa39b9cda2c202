// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The examinations of bivistactl doctor. Each returns its findings in the order in which a person
// should read them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "tools/client/Dump.h"
#include "tools/doctor/Account.h"
#include "tools/doctor/FileTree.h"
#include "tools/doctor/User.h"

namespace doctor {

// How much a finding matters.
enum class Weight {
    FINE,
    NOTE,     // worth knowing; the cover works all the same
    PROBLEM,  // keeps the cover from working, or has done so
};

// What an examination shows.
struct Finding {
    Weight weight;
    // What was examined, in one word: "tty".
    std::string check;
    // What was found, for people.
    std::string what;
    // The remedy; empty when there is nothing to do.
    std::string remedy;
    // What shows it: events, members of the dump, lines of the log.
    Lines lines = {};
};

using Findings = std::vector<Finding>;

inline void append(Findings* findings, const Findings& more) {
    findings->insert(findings->end(), more.begin(), more.end());
}

inline Finding fine(const std::string& check, const std::string& what, const Lines& lines = {}) {
    return {Weight::FINE, check, what, "", lines};
}

inline Finding note(const std::string& check, const std::string& what, const std::string& remedy,
                    const Lines& lines = {}) {
    return {Weight::NOTE, check, what, remedy, lines};
}

inline Finding problem(const std::string& check, const std::string& what, const std::string& remedy,
                       const Lines& lines = {}) {
    return {Weight::PROBLEM, check, what, remedy, lines};
}

// Each call of the service may take as long as `patience`. Of a longer call, within() leaves a
// thread.

// The process that is registered as the service, and answers or not; 0 for none.
pid_t findServiceProcess();

// Whether a service is registered and serves calls. `process` becomes the service's, or stays as it
// is when there is none. `machine` is the one whose processes are examined.
Finding examineService(const Tree& machine, std::chrono::milliseconds patience, pid_t* process);

// Whether the cover answers a command. With `ask` false, only notes that the cover was not asked.
Finding examineAnswer(bool ask, const Tree& machine, pid_t service,
                      std::chrono::milliseconds patience);

// The findings in the service's debug dump, which counts since the service's start or since the
// last reset of the counters.
Findings examineDump(std::chrono::milliseconds patience);
// The same in a dump that was taken earlier.
Findings examineDump(const bivistactl::Dump& dump);
// Whether examineDump() makes findings of this check.
bool isOfDump(const std::string& check);

// Why the brightness did not change, the screen is dark, no touch or pen event came, no picture is
// on the sub display, as far as the service's own account tells. Each has a finding, also when
// nothing is wrong. None without a history.
Findings examineBrightness(const Account& account);
Findings examineScreen(const Account& account);
Findings examineEvents(const Account& account);
Findings examinePicture(const Account& account);

// The folder where services register.
Finding examineRegistry();

// Where the examination looks for the cover, and whose rights count.
struct Scene {
    // The machine whose processes are examined.
    const Tree& machine;
    // The files that the service sees.
    const Tree& world;
    const User& user;
    // The service's process, which may have the nodes open; 0 for none.
    pid_t service = 0;
};

// The cover's USB device, its nodes, other programs that have them open, and its autosuspend.
Findings examineCover(const Scene& scene);

// Whether a modem daemon runs that may open the cover's tty.
Finding examineModemDaemon(const Tree& machine);

}  // namespace doctor
