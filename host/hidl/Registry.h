// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The directory of services: <directory>/<interface descriptor>/<instance> is the socket of a
// service under its most derived interface, and a relative symbolic link to it under the others.
//
// The directory is HIDL_SOCKET_DIR; else /run/hidl for root, and $XDG_RUNTIME_DIR/hidl or
// /tmp/hidl-UID for other users. It is made when something is registered, and must belong to the
// user and be writable by nobody else. A socket that nobody answers counts as absent.
//
// Functions log why they fail. They may be called by any thread.
#pragma once

#include <sys/types.h>
#include <utils/Errors.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <android-base/unique_fd.h>

namespace android::hardware::registry {

// Tells one registration from another, also from a later one of the same name: the socket's device,
// inode, and time of its last change (seconds, nanoseconds).
using SocketId = std::tuple<uint64_t, uint64_t, int64_t, int64_t>;

struct ServiceSocket {
    // Keeps the socket of this registration in hand, whatever happens to its name.
    base::unique_fd path;
    SocketId id;
};

// Where services are registered.
std::string directory();

// Opens the directory, making it first.
status_t makeDirectory(base::unique_fd* folder);

// Opens it; not ok() when there is none, or others can write there.
base::unique_fd openDirectory();

// A listening socket under the names, most derived interface first. ALREADY_EXISTS: a live service
// has one of them. The names go when the process exits in good order.
status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 base::unique_fd* listener);

// Takes back the names that publish() gave: they are free, and the service counts as absent.
void withdraw(const std::vector<std::string>& descriptors, const std::string& instance);

// The socket of a registered service, which may be stale; nothing when there is none.
std::optional<ServiceSocket> find(const std::string& descriptor, const std::string& instance);

// The instances of an interface that somebody answers, sorted.
std::vector<std::string> list(const std::string& descriptor);

// A connection to the service; not ok() when nobody answers, or somebody else's process does.
base::unique_fd connectTo(const ServiceSocket& socket);

// Whether the process at the other end of a connection runs as the same user. Logs when not.
bool isPeerOfSameUser(int connection);

}  // namespace android::hardware::registry
