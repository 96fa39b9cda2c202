#include "emulator/phone/Supervisor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include "emulator/phone/EventLoop.h"
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

// False when the other's memory does not take it.
bool writeMemory(pid_t task, uint64_t address, const std::string& bytes) {
    iovec local = {const_cast<char*>(bytes.data()), bytes.size()};
    iovec remote = {reinterpret_cast<void*>(address), bytes.size()};
    return process_vm_writev(task, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(bytes.size());
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

// The buffer, of which `wanted` bytes are looked at.
void readBuffer(const seccomp_notif& call, uint64_t address, size_t wanted, ReportCall* report) {
    std::string bytes(std::min(wanted, kMaxReport), '\0');
    if (readMemory(taskOf(call), address, bytes.data(), bytes.size()) != bytes.size()) return;
    report->bytes = std::move(bytes);
}

Call readWrite(const seccomp_notif& call) {
    ReportCall read = {.file = fileOf(taskOf(call), argument(call, 0)), .size = call.data.args[2]};
    readBuffer(call, call.data.args[1], read.size, &read);
    return read;
}

Call readGetFeature(const seccomp_notif& call) {
    ReportCall read = {.kind = ReportCall::Kind::GetFeature,
                       .file = fileOf(taskOf(call), argument(call, 0)),
                       .size = _IOC_SIZE(static_cast<uint32_t>(call.data.args[1]))};
    readBuffer(call, call.data.args[2], 1, &read);
    return read;
}

Call readSetFeature(const seccomp_notif& call) {
    ReportCall read = {.kind = ReportCall::Kind::SetFeature,
                       .file = fileOf(taskOf(call), argument(call, 0)),
                       .size = _IOC_SIZE(static_cast<uint32_t>(call.data.args[1]))};
    readBuffer(call, call.data.args[2], read.size, &read);
    return read;
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
        {{SYS_ioctl, TIOCMBIS}, readIoctl},
        {{SYS_ioctl, TIOCMBIC}, readIoctl},
        {{SYS_ioctl, HIDIOCGFEATURE(0), kNoSize}, readGetFeature},
        {{SYS_ioctl, HIDIOCSFEATURE(0), kNoSize}, readSetFeature},
        {{.number = SYS_write, .firstDescriptor = kFirstWatched}, readWrite},
};

const Handled* find(const seccomp_notif& notification) {
    const auto request = static_cast<uint32_t>(notification.data.args[1]);
    for (const Handled& handled : kHandled) {
        const HandledCall& call = handled.call;
        if (static_cast<int>(call.number) != notification.data.nr) continue;
        if (!call.request || *call.request == (request & call.mask)) return &handled;
    }
    return nullptr;
}

// The first number that is free for a descriptor whose writes are handed over.
std::optional<uint32_t> findFreeNumber(pid_t task) {
    const fs::path folder = "/proc/" + std::to_string(task) + "/fd";
    std::error_code error;
    for (uint32_t number = kFirstWatched; number < kEndWatched; ++number) {
        const fs::path link = folder / std::to_string(number);
        if (fs::symlink_status(link, error).type() == fs::file_type::not_found) return number;
    }
    return std::nullopt;
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

bool Supervisor::replace(const seccomp_notif& notification, const Verdict& verdict) const {
    seccomp_notif_addfd add = {};
    add.id = notification.id;
    add.flags = SECCOMP_ADDFD_FLAG_SEND;
    add.srcfd = static_cast<uint32_t>(verdict.replacement.get());
    add.newfd_flags = verdict.closeOnExec ? O_CLOEXEC : 0;
    if (verdict.watched) {
        const std::optional<uint32_t> number = findFreeNumber(taskOf(notification));
        if (!number) {
            errno = EMFILE;
            return false;
        }
        add.flags |= SECCOMP_ADDFD_FLAG_SETFD;
        add.newfd = *number;
    }
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ADDFD, &add) >= 0 || errno == ENOENT) return true;
    // The caller has lowered its limit below the number.
    if (errno == EBADF) errno = EMFILE;
    return false;
}

void Supervisor::reply(const seccomp_notif& notification, const Verdict& verdict) const {
    if (verdict.replacement && replace(notification, verdict)) return;
    seccomp_notif_resp answer = {};
    answer.id = notification.id;
    if (verdict.replacement) {
        // No descriptor is left to the caller, most likely.
        answer.error = -errno;
    } else if (verdict.error != 0) {
        answer.error = -verdict.error;
    } else if (!verdict.output.empty() &&
               !writeMemory(taskOf(notification), notification.data.args[2], verdict.output)) {
        answer.error = -EFAULT;
    } else if (verdict.result) {
        answer.val = *verdict.result;
    } else {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    // A caller that was killed in the meantime needs no answer.
    ioctl(fd(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

bool Supervisor::isPending(const seccomp_notif& notification) const {
    uint64_t id = notification.id;
    return ioctl(fd(), SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}

void Supervisor::decide(Waiting call, bool waited) {
    const Verdict verdict = mDecide(call.call, waited);
    if (verdict.askAgainAfter) {
        call.due = EventLoop::now() + *verdict.askAgainAfter;
        mWaiting.push_back(std::move(call));
    } else {
        reply(call.notification, verdict);
    }
}

void Supervisor::decideWaiting(std::optional<cover::Time> now) {
    const auto due = std::partition(mWaiting.begin(), mWaiting.end(),
                                    [now](const Waiting& call) { return now && call.due > *now; });
    // Apart, since a decision may lead here again.
    std::vector<Waiting> calls(std::make_move_iterator(due),
                               std::make_move_iterator(mWaiting.end()));
    mWaiting.erase(due, mWaiting.end());
    for (Waiting& call : calls) {
        if (isPending(call.notification)) decide(std::move(call), true);
    }
}

std::optional<cover::Time> Supervisor::nextDeadline() const {
    std::optional<cover::Time> next;
    for (const Waiting& call : mWaiting) next = std::min(next.value_or(call.due), call.due);
    return next;
}

void Supervisor::answer() {
    seccomp_notif notification = {};
    // Fails when the caller was killed since it was announced.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) return;
    std::optional<Call> call;
    if (const Handled* handled = find(notification)) call = handled->read(notification);
    // What was read belongs to the caller only if it still waits: ids of tasks are used again.
    if (!isPending(notification)) return;
    if (call) {
        decide({notification, *std::move(call)}, false);
    } else {
        reply(notification, {});
    }
}

}  // namespace phone
