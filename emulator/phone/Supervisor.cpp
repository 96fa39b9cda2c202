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

// What a relative path of the task starts from.
fs::path startOf(pid_t task, int folder) {
    const std::string link = "/proc/" + std::to_string(task) +
                             (folder == AT_FDCWD ? "/cwd" : "/fd/" + std::to_string(folder));
    std::error_code error;
    return fs::read_symlink(link, error);
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

bool Supervisor::readCall(const seccomp_notif& call, OpenCall* open) const {
    const auto task = static_cast<pid_t>(call.pid);
    const auto& args = call.data.args;
    int folder = AT_FDCWD;
    uint64_t text = args[0];
    switch (call.data.nr) {
#ifdef SYS_open
        case SYS_open:
            open->flags = static_cast<int>(args[1]);
            break;
#endif
#ifdef SYS_creat
        case SYS_creat:
            open->flags = O_WRONLY | O_CREAT | O_TRUNC;
            break;
#endif
#ifdef SYS_access
        case SYS_access:
            open->isTest = true;
            open->mode = static_cast<int>(args[1]);
            break;
#endif
        case SYS_openat:
            folder = static_cast<int>(args[0]);
            text = args[1];
            open->flags = static_cast<int>(args[2]);
            break;
        case SYS_openat2: {
            open_how how = {};
            readMemory(task, args[2], &how, std::min<size_t>(args[3], sizeof(how)));
            folder = static_cast<int>(args[0]);
            text = args[1];
            open->flags = static_cast<int>(how.flags);
            break;
        }
        default:  // faccessat, faccessat2
            open->isTest = true;
            folder = static_cast<int>(args[0]);
            text = args[1];
            open->mode = static_cast<int>(args[2]);
            break;
    }
    const std::string path = readText(task, text);
    if (path.empty()) return false;
    open->path = path[0] == '/' ? fs::path(path) : startOf(task, folder) / path;
    return true;
}

void Supervisor::reply(const seccomp_notif& call, const Verdict& verdict, bool closeOnExec) const {
    if (verdict.replacement) {
        seccomp_notif_addfd add = {};
        add.id = call.id;
        add.flags = SECCOMP_ADDFD_FLAG_SEND;
        add.srcfd = static_cast<uint32_t>(verdict.replacement.get());
        add.newfd_flags = closeOnExec ? O_CLOEXEC : 0;
        if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ADDFD, &add) >= 0 || errno == ENOENT) return;
    }
    seccomp_notif_resp answer = {};
    answer.id = call.id;
    if (verdict.replacement) {
        // No descriptor is left to the caller, most likely.
        answer.error = -errno;
    } else if (verdict.error != 0) {
        answer.error = -verdict.error;
    } else {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    // A caller that was killed in the meantime needs no answer.
    ioctl(fd(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

void Supervisor::answer() {
    seccomp_notif call = {};
    // Fails when the caller was killed since it was announced.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) return;
    OpenCall open;
    const bool known = readCall(call, &open);
    // What was read belongs to the caller only if it still waits: ids of tasks are used again.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ID_VALID, &call.id) != 0) return;
    // Where there is no text the kernel finds the right error.
    reply(call, known ? mDecide(open) : Verdict(), (open.flags & O_CLOEXEC) != 0);
}

}  // namespace phone
