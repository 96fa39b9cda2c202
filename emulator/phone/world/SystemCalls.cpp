// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/SystemCalls.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace phone {

namespace fs = std::filesystem;

namespace {

// Bytes read from the other's memory; fewer where it ends.
size_t readMemory(pid_t task, uint64_t address, void* target, size_t size) {
    // The kernel gives up a whole remote piece when a part of it is missing: pieces end at pages.
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t first = std::min(size, page - address % page);
    iovec local = {target, size};
    iovec remote[] = {{reinterpret_cast<void*>(address), first},
                      {reinterpret_cast<void*>(address + first), size - first}};
    const ssize_t count = process_vm_readv(task, &local, 1, remote, first == size ? 1 : 2, 0);
    return count < 0 ? 0 : static_cast<size_t>(count);
}

// The text at `address`; empty when it is unreadable, unterminated or too long for a path.
std::string readText(pid_t task, uint64_t address) {
    char text[PATH_MAX];
    const size_t size = readMemory(task, address, text, sizeof(text));
    const void* end = memchr(text, '\0', size);
    return end == nullptr ? std::string() : std::string(text);
}

// What a descriptor of the task is open on; of AT_FDCWD its working folder.
fs::path fileOf(pid_t task, int fd) {
    const std::string link = "/proc/" + std::to_string(task) +
                             (fd == AT_FDCWD ? "/cwd" : "/fd/" + std::to_string(fd));
    std::error_code error;
    return fs::read_symlink(link, error);
}

int argument(const seccomp_notif& notification, int number) {
    return static_cast<int>(notification.data.args[number]);
}

// The path that argument `number` points to, taken from folder `start`. Empty when it is
// unreadable: then the kernel finds the right error.
fs::path readPath(const seccomp_notif& notification, int number, int start = AT_FDCWD) {
    const std::string path = readText(taskOf(notification), notification.data.args[number]);
    if (path.empty() || path[0] == '/') return path;
    return fileOf(taskOf(notification), start) / path;
}

// Readers of the calls that are handled.

[[maybe_unused]] Call readOpen(const seccomp_notif& call) {
    return OpenCall{.path = readPath(call, 0), .flags = argument(call, 1)};
}

[[maybe_unused]] Call readCreat(const seccomp_notif& call) {
    return OpenCall{.path = readPath(call, 0), .flags = O_WRONLY | O_CREAT | O_TRUNC};
}

Call readOpenAt(const seccomp_notif& call) {
    return OpenCall{.path = readPath(call, 1, argument(call, 0)), .flags = argument(call, 2)};
}

Call readOpenAt2(const seccomp_notif& call) {
    open_how how = {};
    readMemory(taskOf(call), call.data.args[2], &how,
               std::min<size_t>(call.data.args[3], sizeof(how)));
    return OpenCall{.path = readPath(call, 1, argument(call, 0)),
                    .flags = static_cast<int>(how.flags)};
}

[[maybe_unused]] Call readAccess(const seccomp_notif& call) {
    return OpenCall{.path = readPath(call, 0), .isTest = true, .mode = argument(call, 1)};
}

Call readAccessAt(const seccomp_notif& call) {
    return OpenCall{.path = readPath(call, 1, argument(call, 0)),
                    .isTest = true,
                    .mode = argument(call, 2)};
}

Call readIoctl(const seccomp_notif& call) {
    IoctlCall read = {.file = fileOf(taskOf(call), argument(call, 0)),
                      .request = static_cast<uint32_t>(call.data.args[1])};
    int value = 0;
    if (readMemory(taskOf(call), call.data.args[2], &value, sizeof(value)) == sizeof(value)) {
        read.value = value;
    }
    return read;
}

// A report of `size` bytes at `address`, of which `wanted` are looked at.
Call readReport(const seccomp_notif& call, HidRequest::Kind kind, uint64_t address, size_t size,
                size_t wanted) {
    ReportCall read = {.file = fileOf(taskOf(call), argument(call, 0)),
                       .request = {.kind = kind, .size = size}};
    std::string bytes(std::min(wanted, kMaxReport), '\0');
    if (readMemory(taskOf(call), address, bytes.data(), bytes.size()) != bytes.size()) return read;
    read.request.bytes = std::move(bytes);
    read.isReadable = true;
    return read;
}

Call readWrite(const seccomp_notif& call) {
    const size_t size = call.data.args[2];
    return readReport(call, HidRequest::Kind::Write, call.data.args[1], size, size);
}

Call readGetFeature(const seccomp_notif& call) {
    const size_t size = _IOC_SIZE(static_cast<uint32_t>(call.data.args[1]));
    return readReport(call, HidRequest::Kind::GetFeature, call.data.args[2], size, 1);
}

Call readSetFeature(const seccomp_notif& call) {
    const size_t size = _IOC_SIZE(static_cast<uint32_t>(call.data.args[1]));
    return readReport(call, HidRequest::Kind::SetFeature, call.data.args[2], size, size);
}

Call readClose(const seccomp_notif& call) {
    return CloseCall{fileOf(taskOf(call), argument(call, 0))};
}

// A request of any size.
constexpr uint32_t kNoSize = ~static_cast<uint32_t>(IOCSIZE_MASK);

struct Handled {
    HandledCall call;
    Call (*read)(const seccomp_notif&);
};

constexpr Handled kHandled[] = {
#ifdef SYS_open
        {{SYS_open}, readOpen},
#endif
#ifdef SYS_creat
        {{SYS_creat}, readCreat},
#endif
#ifdef SYS_access
        {{SYS_access}, readAccess},
#endif
        {{SYS_openat}, readOpenAt},
        {{SYS_openat2}, readOpenAt2},
        {{SYS_faccessat}, readAccessAt},
        {{SYS_faccessat2}, readAccessAt},
        {{SYS_ioctl, TIOCMGET}, readIoctl},
        {{SYS_ioctl, TIOCMSET}, readIoctl},
        {{SYS_ioctl, TIOCMBIS}, readIoctl},
        {{SYS_ioctl, TIOCMBIC}, readIoctl},
        {{SYS_ioctl, HIDIOCGFEATURE(0), kNoSize}, readGetFeature},
        {{SYS_ioctl, HIDIOCSFEATURE(0), kNoSize}, readSetFeature},
        {{.number = SYS_write, .firstDescriptor = kHidrawNumbers.first}, readWrite},
        {{.number = SYS_close, .firstDescriptor = kTtyNumbers.first}, readClose},
};

}  // namespace

bool OpenCall::reads() const {
    if (isTest) return (mode & R_OK) != 0;
    return (flags & O_ACCMODE) != O_WRONLY;
}

bool OpenCall::writes() const {
    if (isTest) return (mode & W_OK) != 0;
    return (flags & O_ACCMODE) != O_RDONLY;
}

std::string OpenCall::nameFlags() const {
    static constexpr std::pair<int, const char*> kFlags[] = {
            {O_CREAT, "O_CREAT"},         {O_EXCL, "O_EXCL"},     {O_NOCTTY, "O_NOCTTY"},
            {O_TRUNC, "O_TRUNC"},         {O_APPEND, "O_APPEND"}, {O_NONBLOCK, "O_NONBLOCK"},
            {O_DIRECTORY, "O_DIRECTORY"}, {O_PATH, "O_PATH"},     {O_CLOEXEC, "O_CLOEXEC"},
    };
    const int mode = flags & O_ACCMODE;
    std::string names = mode == O_WRONLY ? "O_WRONLY" : mode == O_RDWR ? "O_RDWR" : "O_RDONLY";
    for (const auto& [flag, text] : kFlags) {
        if ((flags & flag) == flag) names += std::string("|") + text;
    }
    return names;
}

std::vector<HandledCall> handledCalls() {
    std::vector<HandledCall> calls;
    for (const Handled& handled : kHandled) calls.push_back(handled.call);
    return calls;
}

std::optional<Call> readCall(const seccomp_notif& notification) {
    const auto request = static_cast<uint32_t>(notification.data.args[1]);
    for (const auto& [call, read] : kHandled) {
        if (static_cast<int>(call.number) != notification.data.nr) continue;
        if (!call.request || *call.request == (request & call.mask)) return read(notification);
    }
    return std::nullopt;
}

pid_t taskOf(const seccomp_notif& notification) {
    return static_cast<pid_t>(notification.pid);
}

bool writeReport(const seccomp_notif& notification, const std::string& bytes) {
    iovec local = {const_cast<char*>(bytes.data()), bytes.size()};
    iovec remote = {reinterpret_cast<void*>(notification.data.args[2]), bytes.size()};
    return process_vm_writev(taskOf(notification), &local, 1, &remote, 1, 0) ==
           static_cast<ssize_t>(bytes.size());
}

}  // namespace phone
