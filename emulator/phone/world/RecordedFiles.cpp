// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/RecordedFiles.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/world/Files.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

// Beyond this the kernel log starts anew, as a ring would.
constexpr off_t kKernelLogLimit = 1 << 20;

void appendToKernelLog(const std::string& message) {
    const unique_fd fd(open(kKernelLog, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    struct stat status;
    if (!fd.ok() || fstat(fd.get(), &status) != 0) return;
    if (status.st_size > kKernelLogLimit) (void)!ftruncate(fd.get(), 0);
    (void)!write(fd.get(), message.data(), message.size());
}

struct Pty {
    unique_fd master;
    unique_fd slave;
};

Pty makePty() {
    int master = -1;
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) throwErrno("cannot make a pty");
    return {unique_fd(master), unique_fd(slave)};
}

// Descriptors of which one side has hung up: writes fail with EIO; reads fail with EIO.
unique_fd openUnwritable() {
    return makePty().slave;
}

unique_fd openUnreadable() {
    return makePty().master;
}

bool isInSysfs(const std::string& path) {
    return path.starts_with("/sys/");
}

// errno of an open or a test of a file that is not there. In sysfs no program makes a file.
int absence(const OpenCall& call, const std::string& path) {
    return isInSysfs(path) && !call.isTest && (call.flags & O_CREAT) != 0 ? EACCES : ENOENT;
}

// errno with which the fault refuses the call, or 0.
int refusalBy(const NodeFault& fault, const OpenCall& call, const std::string& path) {
    switch (fault.effect) {
        case NodeEffect::Missing:
            return absence(call, path);
        case NodeEffect::Unreadable:
            return call.reads() ? EACCES : 0;
        case NodeEffect::Unwritable:
            return call.writes() ? EACCES : 0;
        case NodeEffect::Eio:
        case NodeEffect::ReadEio:
            return 0;
    }
    return 0;
}

bool isRegular(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Whether a folder is there and this file in it is not.
bool isMissing(const fs::path& path) {
    struct stat status;
    return stat(path.c_str(), &status) != 0 && errno == ENOENT &&
           stat(path.parent_path().c_str(), &status) == 0;
}

}  // namespace

fs::path resolveFolder(const fs::path& path) {
    std::error_code error;
    const fs::path folder = fs::canonical(path.parent_path(), error);
    return error ? path.lexically_normal() : folder / path.filename();
}

Verdict RecordedFiles::decide(const OpenCall& call) {
    const std::string path = resolveFolder(call.path);
    Verdict verdict;
    verdict.error = refusal(call, path);
    if (verdict.error != 0) {
        mListener->fileRefused(path, verdict.error);
    } else if (isRecorded(call, path)) {
        const bool broken = strikes(NodeEffect::Eio, call, path);
        mListener->fileOpened(path, call.nameFlags() + (broken ? " eio" : ""));
        verdict.replacement = broken ? openUnwritable() : openWriter(path);
    } else if (isUnreadable(call, path) && strikes(NodeEffect::ReadEio, call, path)) {
        mListener->fileOpened(path, call.nameFlags() + " read-eio");
        verdict.replacement = openUnreadable();
    }
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    return verdict;
}

int RecordedFiles::refusal(const OpenCall& call, const std::string& path) const {
    for (size_t i = 0; i < mFaults.size(); ++i) {
        const int error = refusalBy(mFaults[i], call, path);
        if (error == 0 || resolveFolder(mFaults[i].path) != path) continue;
        meet(i, call, path);
        return error;
    }
    // Any other call of a file that is not there fails by itself.
    const int error = absence(call, path);
    return error != ENOENT && isMissing(path) ? error : 0;
}

size_t RecordedFiles::find(NodeEffect effect, const std::string& path) const {
    const auto found = std::find_if(mFaults.begin(), mFaults.end(), [&](const NodeFault& fault) {
        return fault.effect == effect && resolveFolder(fault.path) == path;
    });
    return static_cast<size_t>(found - mFaults.begin());
}

void RecordedFiles::meet(size_t fault, const OpenCall& call, const std::string& path) const {
    mMet(fault, path, call.isTest ? "access" : "open " + call.nameFlags());
}

bool RecordedFiles::strikes(NodeEffect effect, const OpenCall& call,
                            const std::string& path) const {
    const size_t fault = find(effect, path);
    if (fault == mFaults.size()) return false;
    meet(fault, call, path);
    return true;
}

bool RecordedFiles::isUnreadable(const OpenCall& call, const std::string& path) const {
    return !call.isTest && !call.writes() && has(NodeEffect::ReadEio, path) && isRegular(path);
}

bool RecordedFiles::isRecorded(const OpenCall& call, const std::string& path) const {
    if (call.isTest || !call.writes()) return false;
    if (!isInSysfs(path) && path != kKernelLog && !has(NodeEffect::Eio, path)) return false;
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
        const bool wantsNew = (call.flags & O_CREAT) != 0 && (call.flags & O_EXCL) != 0;
        return S_ISREG(status.st_mode) && !wantsNew;
    }
    if ((call.flags & O_CREAT) == 0) return false;
    const unique_fd made(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    return made.ok();
}

unique_fd RecordedFiles::openWriter(const std::string& path) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throwErrno("cannot make a socket pair");
    }
    // A write-only file gives nothing to read.
    shutdown(ends[0], SHUT_WR);
    mWriters[ends[0]] = {path, unique_fd(ends[0])};
    mLoop.watch(ends[0], POLLIN, [this](short) { drain(); });
    return unique_fd(ends[1]);
}

void RecordedFiles::drain() {
    for (auto writer = mWriters.begin(); writer != mWriters.end();) {
        if (drain(writer->second)) {
            ++writer;
            continue;
        }
        mListener->fileClosed(writer->second.path);
        mLoop.unwatch(writer->first);
        writer = mWriters.erase(writer);
    }
}

bool RecordedFiles::drain(Writer& writer) {
    const int fd = writer.socket.get();
    for (;;) {
        pollfd state = {fd, POLLIN, 0};
        if (poll(&state, 1, 0) <= 0) return true;
        const ssize_t size = recv(fd, nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
        // An empty packet is an empty write; the end of the stream shows as a hang-up too.
        if (size < 0 || (size == 0 && (state.revents & POLLHUP) != 0)) return false;
        std::string bytes(static_cast<size_t>(size), '\0');
        recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        take(writer, bytes);
    }
}

void RecordedFiles::take(const Writer& writer, const std::string& bytes) {
    struct stat status;
    if (writer.path == kKernelLog) {
        appendToKernelLog(bytes);
    } else if (stat(writer.path.c_str(), &status) == 0) {
        // The device may be gone by now, and its files with it.
        putFile(writer.path, bytes);
    }
    mListener->fileWritten(writer.path, bytes);
}

}  // namespace phone
