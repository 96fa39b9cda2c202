#include "emulator/phone/Supervisor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include "emulator/phone/Files.h"

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

pid_t taskOf(const seccomp_notif& notification) {
    return static_cast<pid_t>(notification.pid);
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
        {{SYS_ioctl, TIOCMBIS}, readIoctl},
        {{SYS_ioctl, TIOCMBIC}, readIoctl},
};

const Handled* find(const seccomp_notif& notification) {
    for (const Handled& handled : kHandled) {
        if (static_cast<int>(handled.call.number) != notification.data.nr) continue;
        const auto request = static_cast<uint32_t>(notification.data.args[1]);
        if (!handled.call.request || handled.call.request == request) return &handled;
    }
    return nullptr;
}

}  // namespace

bool OpenCall::reads() const {
    if (isTest) return (mode & R_OK) != 0;
    return (flags & O_ACCMODE) != O_WRONLY;
}

bool OpenCall::writes() const {
    if (isTest) return (mode & W_OK) != 0;
    return (flags & O_ACCMODE) != O_RDONLY;
}

Supervisor::Supervisor(Fd listener, Decide decide)
    : mListener(std::move(listener)), mDecide(std::move(decide)) {}

std::vector<HandledCall> Supervisor::handledCalls() {
    std::vector<HandledCall> calls;
    for (const Handled& handled : kHandled) calls.push_back(handled.call);
    return calls;
}

void Supervisor::reply(const seccomp_notif& notification, const Verdict& verdict) const {
    if (verdict.replacement) {
        seccomp_notif_addfd add = {};
        add.id = notification.id;
        add.flags = SECCOMP_ADDFD_FLAG_SEND;
        add.srcfd = static_cast<uint32_t>(verdict.replacement.get());
        add.newfd_flags = verdict.closeOnExec ? O_CLOEXEC : 0;
        if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ADDFD, &add) >= 0 || errno == ENOENT) return;
    }
    seccomp_notif_resp answer = {};
    answer.id = notification.id;
    if (verdict.replacement) {
        // No descriptor is left to the caller, most likely.
        answer.error = -errno;
    } else if (verdict.error != 0) {
        answer.error = -verdict.error;
    } else if (verdict.result) {
        answer.val = *verdict.result;
    } else {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    // A caller that was killed in the meantime needs no answer.
    ioctl(fd(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

void Supervisor::answer() {
    seccomp_notif notification = {};
    // Fails when the caller was killed since it was announced.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) return;
    std::optional<Call> call;
    if (const Handled* handled = find(notification)) call = handled->read(notification);
    // What was read belongs to the caller only if it still waits: ids of tasks are used again.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ID_VALID, &notification.id) != 0) return;
    reply(notification, call ? mDecide(*call) : Verdict());
}

}  // namespace phone
