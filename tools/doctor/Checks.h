// The examinations of bivistactl doctor. Each tells what it found, in the order in which a person
// should read it.
#pragma once

#include <sys/types.h>

#include <chrono>

#include "tools/doctor/Finding.h"
#include "tools/doctor/Tree.h"
#include "tools/doctor/User.h"

namespace doctor {

// Whether a service is registered and serves calls. One that takes longer than `patience` to
// answer is busy: its call is then left behind on a thread of its own, so that the program must end
// by quick_exit(). `process` becomes the service's, or stays as it is when there is none.
Findings examineService(std::chrono::milliseconds patience, pid_t* process);

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
