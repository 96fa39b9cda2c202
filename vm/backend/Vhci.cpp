// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Vhci.h"

#include <cerrno>
#include <cstdio>
#include <optional>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/world/Files.h"

namespace vm {

using android::base::unique_fd;

namespace {

// In the file "status": nothing is there, and nothing is about to go.
constexpr int kFree = 4;
// In the file "attach": the kernel's number for high speed.
constexpr int kHighSpeed = 3;

}  // namespace

// hub port sta spd dev      sockfd local_busid
// hs  0000 004 000 00000000 000000 0-0
std::vector<int> freePorts(std::string_view status) {
    std::vector<int> ports;
    while (!status.empty()) {
        const size_t end = status.find('\n');
        const std::string line(status.substr(0, end));
        status.remove_prefix(end == std::string_view::npos ? status.size() : end + 1);
        int port = 0;
        int state = 0;
        if (sscanf(line.c_str(), "hs %d %d", &port, &state) == 2 && state == kFree) {
            ports.push_back(port);
        }
    }
    return ports;
}

std::vector<int> freePorts() {
    const std::optional<std::string> status = phone::takeFile(std::string(kVhci) + "/status");
    if (!status)
        throw phone::Error("this kernel has no vhci_hcd: load it with \"modprobe vhci_hcd\"");
    return freePorts(*status);
}

unique_fd plugIn(int port) {
    unique_fd ours;
    unique_fd theirs;
    if (!android::base::Socketpair(SOCK_STREAM | SOCK_CLOEXEC, &ours, &theirs)) {
        phone::throwErrno("cannot make a socket pair");
    }
    // PORT SOCKET DEVICE SPEED; the device's number is for USB/IP alone, and not 0.
    const std::string order = std::to_string(port) + " " + std::to_string(theirs.get()) + " " +
                              std::to_string(port + 1) + " " + std::to_string(kHighSpeed);
    const unique_fd file(open((std::string(kVhci) + "/attach").c_str(), O_WRONLY | O_CLOEXEC));
    if (!file.ok() || write(file.get(), order.data(), order.size()) < 0) {
        phone::throwErrno("cannot put a device on port " + std::to_string(port) + " of vhci_hcd");
    }
    return ours;
}

void pullOut(int socket) {
    // What was sent before still arrives.
    shutdown(socket, SHUT_WR);
}

}  // namespace vm
