// The examinations of bivistactl doctor. Each tells what it found, in the order in which a person
// should read it.
#pragma once

#include <sys/types.h>

#include <chrono>

#include "tools/doctor/Finding.h"
#include "tools/doctor/Tree.h"
#include "tools/doctor/User.h"

namespace doctor {

// Each call of the service may take as long as `patience`; see within() for what is left behind
// of one that takes longer.

// Whether a service is registered and serves calls. `process` becomes the service's, or stays as it
// is when there is none.
Finding examineService(std::chrono::milliseconds patience, pid_t* process);

// Whether the cover answers a command. Not told to ask, only says so.
Finding examineAnswer(bool ask, std::chrono::milliseconds patience);

// What the service's debug dump tells of the time since its start, or since the counters were
// reset.
Findings examineDump(std::chrono::milliseconds patience);

// The folder where services register.
Findings examineRegistry();

// Where the cover is looked for, and for whom.
struct Scene {
    // The machine whose processes are looked at.
    const Tree& machine;
    // The files that the service sees.
    const Tree& world;
    const User& user;
    // The service's process, which may have the nodes open; 0 for none.
    pid_t service = 0;
};

// The cover's USB device, its nodes, who else has them open, and its autosuspend.
Findings examineCover(const Scene& scene);

// Whether a node is missing, or the user has no right to it.
Finding examineNode(const Scene& scene, const std::string& check, const std::string& node);

// The programs that have the node open, other than the service.
Finding examineHolders(const Scene& scene, const std::string& check, const std::string& node);

// Whether a modem daemon runs that would try the cover's tty.
Finding examineModemDaemon(const Tree& machine);

}  // namespace doctor
