// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Sockets in directories. Paths go through /proc/self/fd, since a socket's address holds 108 bytes.
#define LOG_TAG "host-hidl"

#include "Registry.h"

#include <fcntl.h>
#include <limits.h>
#include <log/log.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <utils/Mutex.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace android::hardware::registry {

namespace {

// A name that was made by this process; it goes with the process, if it is still the same file.
struct PublishedName {
    base::unique_fd folder;
    std::string descriptor;  // the folder's name
    std::string name;
    ino_t inode;

    void unlink() const {
        struct stat status;
        if (fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            status.st_ino == inode) {
            unlinkat(folder.get(), name.c_str(), 0);
        }
    }
};

struct Published {
    Mutex mutex;
    std::vector<PublishedName> names GUARDED_BY(mutex);
    pid_t process GUARDED_BY(mutex) = 0;
};

Published& published() {
    static auto* const instance = new Published;
    return *instance;
}

status_t fail(int error, const char* what, const std::string& path) {
    ALOGE("%s %s: %s", what, path.c_str(), strerror(error));
    return -error;
}

bool isUsableName(const std::string& name) {
    return !name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos && name.size() <= NAME_MAX;
}

sockaddr_un addressOf(int fd, const std::string& name) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d%s%s", fd,
             name.empty() ? "" : "/", name.c_str());
    return address;
}

int connectSocket(int socket, int path) {
    const sockaddr_un address = addressOf(path, "");
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
}

// Nobody but the user may put names there.
bool isPrivate(int folder, const std::string& path) {
    struct stat status;
    if (fstat(folder, &status) != 0) {
        fail(errno, "Cannot examine the service directory", path);
        return false;
    }
    if (status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        ALOGE("The service directory %s must belong to user %u and be writable by nobody else",
              path.c_str(), geteuid());
        return false;
    }
    return true;
}

base::unique_fd openFolder(int parent, const char* name) {
    return base::unique_fd(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

status_t makeInterfaceFolder(int directory, const std::string& descriptor,
                             base::unique_fd* folder) {
    if (mkdirat(directory, descriptor.c_str(), 0700) != 0 && errno != EEXIST) {
        return fail(errno, "Cannot make the folder of", descriptor);
    }
    *folder = openFolder(directory, descriptor.c_str());
    return folder->ok() ? OK : fail(errno, "Cannot open the folder of", descriptor);
}

// What a name in the directory stands for now.
status_t checkFree(int folder, const std::string& descriptor, const std::string& instance) {
    const std::string name = descriptor + "/" + instance;
    base::unique_fd path(openat(folder, instance.c_str(), O_PATH | O_CLOEXEC));
    if (!path.ok()) {
        return errno == ENOENT ? OK : fail(errno, "Cannot examine the service name", name);
    }
    struct stat status;
    if (fstat(path.get(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        ALOGE("Cannot register %s: the name is taken by something that is no socket", name.c_str());
        return ALREADY_EXISTS;
    }
    base::unique_fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe.ok()) return fail(errno, "Cannot make a socket for", name);
    if (connectSocket(probe.get(), path.get()) != 0 && errno == ECONNREFUSED) return OK;
    ALOGE("Cannot register %s: a running process serves it already", name.c_str());
    return ALREADY_EXISTS;
}

// Gives what was made under a temporary name its own name, in place of a stale one.
status_t moveIntoPlace(base::unique_fd folder, const std::string& temporary,
                       const std::string& descriptor, const std::string& name) {
    struct stat status;
    if (fstatat(folder.get(), temporary.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
        const int error = errno;
        unlinkat(folder.get(), temporary.c_str(), 0);
        return fail(error, "Cannot put the service name into place:", name);
    }
    Published& mine = published();
    AutoMutex lock(mine.mutex);
    mine.names.push_back({std::move(folder), descriptor, name, status.st_ino});
    return OK;
}

status_t listenAt(base::unique_fd folder, const std::string& descriptor,
                  const std::string& instance, base::unique_fd* listener) {
    base::unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.ok()) return fail(errno, "Cannot make a socket for", instance);
    const std::string temporary = ".new-" + std::to_string(getpid());
    unlinkat(folder.get(), temporary.c_str(), 0);
    const sockaddr_un address = addressOf(folder.get(), temporary);
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return fail(errno, "Cannot bind the socket of", instance);
    }
    if (fchmodat(folder.get(), temporary.c_str(), 0700, 0) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0) {
        const int error = errno;
        unlinkat(folder.get(), temporary.c_str(), 0);
        return fail(error, "Cannot listen for", instance);
    }
    *listener = std::move(socket);
    return moveIntoPlace(std::move(folder), temporary, descriptor, instance);
}

// Makes the name that a parent interface has.
status_t linkTo(const std::string& served, base::unique_fd folder, const std::string& descriptor,
                const std::string& instance) {
    const std::string target = "../" + served + "/" + instance;
    const std::string temporary = ".new-" + std::to_string(getpid());
    unlinkat(folder.get(), temporary.c_str(), 0);
    if (symlinkat(target.c_str(), folder.get(), temporary.c_str()) != 0) {
        return fail(errno, "Cannot make the link to", target);
    }
    return moveIntoPlace(std::move(folder), temporary, descriptor, instance);
}

// Takes back the names from `first` on.
void withdrawFrom(size_t first) {
    Published& mine = published();
    AutoMutex lock(mine.mutex);
    for (size_t i = first; i < mine.names.size(); ++i) mine.names[i].unlink();
    mine.names.resize(std::min(first, mine.names.size()));
}

void withdrawAll() {
    {
        Published& mine = published();
        AutoMutex lock(mine.mutex);
        // The names are not those of a child that was forked.
        if (mine.process != getpid()) return;
    }
    withdrawFrom(0);
}

// Returns how many names there were before.
size_t prepareToPublish() {
    Published& mine = published();
    AutoMutex lock(mine.mutex);
    if (mine.process == 0) {
        mine.process = getpid();
        atexit(withdrawAll);
    }
    return mine.names.size();
}

status_t publishNames(int folder, const std::vector<std::string>& descriptors,
                      const std::string& instance, base::unique_fd* listener) {
    std::vector<base::unique_fd> folders(descriptors.size());
    for (size_t i = 0; i < descriptors.size(); ++i) {
        status_t status = makeInterfaceFolder(folder, descriptors[i], &folders[i]);
        if (status == OK) status = checkFree(folders[i].get(), descriptors[i], instance);
        if (status != OK) return status;
    }
    status_t status = listenAt(std::move(folders[0]), descriptors[0], instance, listener);
    for (size_t i = 1; status == OK && i < folders.size(); ++i) {
        status = linkTo(descriptors[0], std::move(folders[i]), descriptors[i], instance);
    }
    return status;
}

}  // namespace

std::string directory() {
    if (const char* given = getenv("HIDL_SOCKET_DIR"); given != nullptr && *given != '\0') {
        return given;
    }
    if (geteuid() == 0) return "/run/hidl";
    if (const char* runtime = getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != '\0') {
        return std::string(runtime) + "/hidl";
    }
    return "/tmp/hidl-" + std::to_string(geteuid());
}

status_t makeDirectory(base::unique_fd* folder) {
    const std::string path = directory();
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return fail(errno, "Cannot make the service directory", path);
    }
    *folder = openFolder(AT_FDCWD, path.c_str());
    if (!folder->ok()) return fail(errno, "Cannot open the service directory", path);
    return isPrivate(folder->get(), path) ? OK : PERMISSION_DENIED;
}

base::unique_fd openDirectory() {
    const std::string path = directory();
    base::unique_fd folder = openFolder(AT_FDCWD, path.c_str());
    if (!folder.ok()) {
        if (errno != ENOENT) fail(errno, "Cannot open the service directory", path);
        return base::unique_fd();
    }
    return isPrivate(folder.get(), path) ? std::move(folder) : base::unique_fd();
}

status_t publish(const std::vector<std::string>& descriptors, const std::string& instance,
                 base::unique_fd* listener) {
    if (descriptors.empty() || !isUsableName(instance)) {
        ALOGE("Cannot register a service as \"%s\"", instance.c_str());
        return BAD_VALUE;
    }
    for (const std::string& descriptor : descriptors) {
        if (!isUsableName(descriptor)) return BAD_VALUE;
    }
    base::unique_fd folder;
    if (const status_t status = makeDirectory(&folder); status != OK) return status;
    // Two processes that register at once must not both find the name free.
    if (flock(folder.get(), LOCK_EX) != 0) {
        return fail(errno, "Cannot lock the service directory", directory());
    }
    const size_t before = prepareToPublish();
    const status_t status = publishNames(folder.get(), descriptors, instance, listener);
    if (status != OK) withdrawFrom(before);
    return status;
}

void withdraw(const std::vector<std::string>& descriptors, const std::string& instance) {
    Published& mine = published();
    AutoMutex lock(mine.mutex);
    std::erase_if(mine.names, [&](const PublishedName& made) {
        const bool taken = made.name == instance &&
                           std::find(descriptors.begin(), descriptors.end(), made.descriptor) !=
                                   descriptors.end();
        if (taken) made.unlink();
        return taken;
    });
}

std::optional<ServiceSocket> find(const std::string& descriptor, const std::string& instance) {
    if (!isUsableName(descriptor) || !isUsableName(instance)) return std::nullopt;
    const base::unique_fd folder = openDirectory();
    if (!folder.ok()) return std::nullopt;
    base::unique_fd socket(
            openat(folder.get(), (descriptor + "/" + instance).c_str(), O_PATH | O_CLOEXEC));
    struct stat status;
    if (!socket.ok() || fstat(socket.get(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return std::nullopt;
    }
    const SocketId id = {status.st_dev, status.st_ino, status.st_ctim.tv_sec,
                         status.st_ctim.tv_nsec};
    return ServiceSocket{std::move(socket), id};
}

std::vector<std::string> list(const std::string& descriptor) {
    std::vector<std::string> instances;
    if (!isUsableName(descriptor)) return instances;
    std::error_code error;
    std::filesystem::directory_iterator entry(directory() + "/" + descriptor, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string instance = entry->path().filename();
        const std::optional<ServiceSocket> found = find(descriptor, instance);
        if (found && connectTo(*found).ok()) instances.push_back(instance);
    }
    std::sort(instances.begin(), instances.end());
    return instances;
}

base::unique_fd connectTo(const ServiceSocket& found) {
    base::unique_fd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection.ok()) return connection;
    int result;
    do {
        result = connectSocket(connection.get(), found.path.get());
    } while (result != 0 && errno == EINTR);
    if (result != 0 || !isPeerOfSameUser(connection.get())) return base::unique_fd();
    return connection;
}

bool isPeerOfSameUser(int connection) {
    ucred peer = {};
    socklen_t size = sizeof(peer);
    if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        ALOGE("Cannot tell the user of a peer: %s", strerror(errno));
        return false;
    }
    if (peer.uid == geteuid()) return true;
    ALOGE("Refused process %d of user %u: it is not user %u", peer.pid, peer.uid, geteuid());
    return false;
}

}  // namespace android::hardware::registry
