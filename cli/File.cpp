// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "cli/File.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>

namespace cli {
namespace {

namespace fs = std::filesystem;

// As long as it lives, a reader that goes away is an error of the write, not the program's end.
class WithoutPipeSignal {
  public:
    WithoutPipeSignal() {
        sigemptyset(&mSignal);
        sigaddset(&mSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mSignal, &mBefore);
    }
    ~WithoutPipeSignal() {
        const timespec now = {};
        if (sigismember(&mBefore, SIGPIPE) == 0) sigtimedwait(&mSignal, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    WithoutPipeSignal(const WithoutPipeSignal&) = delete;
    WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

  private:
    sigset_t mSignal = {};
    sigset_t mBefore = {};
};

// The functions below return 0 or an errno.

int writeAll(int fd, std::string_view bytes) {
    const WithoutPipeSignal withoutPipeSignal;
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return errno;
        if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
    }
    return 0;
}

int writeAndClose(int fd, std::string_view bytes) {
    const int error = writeAll(fd, bytes);
    // Some file systems report a full disk only now.
    return close(fd) != 0 && error == 0 ? errno : error;
}

// What files are made without. There is no way to read it but to change it for a moment.
mode_t mask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// `old`: what the file was, or null.
int replace(const fs::path& path, std::string_view bytes, const struct stat* old) {
    std::string fresh = path.parent_path() / ".new-XXXXXX";
    const int fd = mkostemp(fresh.data(), O_CLOEXEC);
    if (fd < 0) return errno;
    // Only root may give files away; the content matters more than the owner.
    if (old != nullptr) (void)!fchown(fd, old->st_uid, old->st_gid);
    fchmod(fd, old != nullptr ? old->st_mode & 0777 : 0666 & ~mask());
    int error = writeAndClose(fd, bytes);
    if (error == 0 && rename(fresh.c_str(), path.c_str()) != 0) error = errno;
    if (error != 0) unlink(fresh.c_str());
    return error;
}

bool isStandardOutput(const struct stat& file) {
    struct stat output;
    return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
           output.st_ino == file.st_ino;
}

// `fd` is the file's, opened for writing.
int writeInto(int fd, const std::string& path, std::string_view bytes) {
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return writeAndClose(fd, bytes);
    close(fd);
    // As /dev/stdout: what was printed before must stay, and what is printed later follow.
    if (isStandardOutput(info)) return writeAll(STDOUT_FILENO, bytes);
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    return error ? error.value() : replace(target, bytes, &info);
}

int writeWhole(const std::string& path, std::string_view bytes) {
    // Opening the file shows whether its owner allows writes; O_TRUNC would lose its content.
    const int fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd >= 0) return writeInto(fd, path, bytes);
    if (errno != ENOENT) return errno;
    struct stat link;
    if (lstat(path.c_str(), &link) != 0) return replace(path, bytes, nullptr);
    // A symlink to what does not exist.
    const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_NOCTTY | O_CLOEXEC, 0666);
    return made < 0 ? errno : writeAndClose(made, bytes);
}

}  // namespace

std::string writeFile(const std::string& path, std::string_view bytes) {
    const int error = writeWhole(path, bytes);
    return error == 0 ? "" : strerror(error);
}

}  // namespace cli
