// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/FileTree.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace doctor {

using ::android::base::unique_fd;

namespace {

// Bounds the tries, so that a machine that renames all the time does not hang the program.
constexpr int kMostTries = 10000;

}  // namespace

Tree::Tree(const std::string& root)
    : mRoot(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

unique_fd Tree::open(const std::string& path, int flags) const {
    open_how how = {};
    how.flags = static_cast<uint64_t>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_IN_ROOT;
    long file = -1;
    // After any rename on the machine the kernel cannot trust a "..", and returns EAGAIN.
    for (int tries = 0; tries < kMostTries; ++tries) {
        file = syscall(SYS_openat2, mRoot.get(), path.c_str(), &how, sizeof(how));
        if (file >= 0 || errno != EAGAIN) break;
    }
    return unique_fd(static_cast<int>(file));
}

std::optional<std::string> Tree::text(const std::string& path) const {
    // Not blocking, since the path may be a pipe.
    const unique_fd file = open(path, O_RDONLY | O_NONBLOCK);
    if (file < 0) return std::nullopt;
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(file.get(), buffer, sizeof(buffer))) > 0) {
        text.append(buffer, static_cast<size_t>(count));
    }
    if (count < 0) return std::nullopt;
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

std::vector<std::string> Tree::names(const std::string& folder) const {
    std::vector<std::string> names;
    unique_fd file = open(folder, O_RDONLY | O_DIRECTORY);
    if (file < 0) return names;
    const std::unique_ptr<DIR, int (*)(DIR*)> list(fdopendir(file.get()), closedir);
    if (list == nullptr) return names;
    (void)file.release();
    while (const dirent* entry = readdir(list.get())) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<struct stat> Tree::status(const std::string& path) const {
    const unique_fd file = open(path, O_PATH);
    struct stat status;
    if (file < 0 || fstat(file.get(), &status) != 0) return std::nullopt;
    return status;
}

bool Tree::mayUse(const std::string& path, const User& user) const {
    const unique_fd file = open(path, O_PATH);
    if (file < 0) return false;
    if (user.isCaller()) {
        // The kernel considers more than the mode: access lists, capabilities.
        const std::string self = "/proc/self/fd/" + std::to_string(file.get());
        return faccessat(AT_FDCWD, self.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
    }
    struct stat status;
    return fstat(file.get(), &status) == 0 && user.mayUse(status);
}

bool Tree::isDescriptorOf(const std::string& descriptor, const struct stat& file) const {
    // The links of a process's descriptors may lead to files that no path leads to.
    struct stat status;
    return fstatat(mRoot.get(), descriptor.c_str() + 1, &status, 0) == 0 &&
           status.st_dev == file.st_dev && status.st_ino == file.st_ino;
}

}  // namespace doctor
