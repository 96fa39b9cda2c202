// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/World.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include "emulator/phone/world/Files.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

constexpr const char* kOwnFolders[] = {"dev", "sys", "data", "system_ext"};

// Set in a program that was started anew as root of a user namespace.
constexpr char kInsideVariable[] = "BIVISTA_USER_NAMESPACE";

// What is wrong, in one line; thrown on the way out of enterWorld().
class Forbidden : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const std::string& what) {
    throw Forbidden("cannot make the phone's private world: " + what + ": " + strerror(errno));
}

[[noreturn]] void failNamespaces() {
    const std::string cause = strerror(errno);
    const char* remedy =
            errno == ENOSPC
                    ? "allow user namespaces with \"sysctl user.max_user_namespaces=10000\""
                    : "run as root, allow user namespaces with \"sysctl "
                      "kernel.unprivileged_userns_clone=1\" (where AppArmor restricts them: "
                      "\"sysctl kernel.apparmor_restrict_unprivileged_userns=0\"), or start the "
                      "container with the capability SYS_ADMIN and without a seccomp profile";
    throw Forbidden("cannot make the phone's private world: namespaces are forbidden here (" +
                    cause + "); " + remedy);
}

void put(const char* path, const std::string& text) {
    const unique_fd fd(open(path, O_WRONLY | O_CLOEXEC));
    if (!fd.ok() ||
        write(fd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail(std::string("writing ") + path);
    }
}

// Makes the caller root of the user namespace that it is in.
void mapToRoot(uid_t uid, gid_t gid) {
    put("/proc/self/setgroups", "deny");
    put("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    put("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

bool hasOtherThreads() {
    const fs::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks)) > 1;
}

std::vector<std::string> ownArguments() {
    const unique_fd fd(open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC));
    std::string text;
    char buffer[4096];
    ssize_t count;
    while ((count = read(fd.get(), buffer, sizeof(buffer))) > 0) text.append(buffer, count);
    std::vector<std::string> arguments;
    for (size_t at = 0; at < text.size(); at += arguments.back().size() + 1) {
        arguments.emplace_back(text.c_str() + at);
    }
    return arguments;
}

// Starts this program anew as root of a new user namespace; returns only when that is forbidden. A
// process with several threads cannot go there itself.
void restartAsRoot() {
    if (getenv(kInsideVariable) != nullptr) return;
    std::vector<std::string> arguments = ownArguments();
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    fflush(nullptr);

    // A plain fork() would run the sanitizer's fork hooks, which bring its thread back.
    const auto child = static_cast<pid_t>(
            syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
    if (child < 0) return;
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        mapToRoot(uid, gid);
        setenv(kInsideVariable, "1", 1);
        execv("/proc/self/exe", argv.data());
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        signal(WTERMSIG(status), SIG_DFL);
        raise(WTERMSIG(status));
    }
    _exit(WEXITSTATUS(status));
}

void leaveNamespaces() {
    constexpr int kWanted = CLONE_NEWNS | CLONE_NEWNET;
    if (unshare(kWanted) == 0) return;
    if (errno == EPERM && hasOtherThreads()) {
        restartAsRoot();
        failNamespaces();
    }
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | kWanted) != 0) failNamespaces();
    mapToRoot(uid, gid);
}

void mountOrFail(const char* source, const std::string& target, const char* type,
                 unsigned long flags, const char* data = nullptr) {
    if (mount(source, target.c_str(), type, flags, data) != 0) fail("mounting " + target);
}

// Makes an empty tmpfs the root, and the old root the working folder. The old root gets no name in
// the new one: whatever the host has in its root may have it.
void changeRoot() {
    mountOrFail("none", "/", nullptr, MS_REC | MS_PRIVATE);
    const unique_fd oldRoot(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!oldRoot.ok()) fail("opening the root");
    // Only a place to stand on for a moment: the old /tmp comes back below.
    mountOrFail("phone", "/tmp", "tmpfs", 0, "mode=755");
    // The same folder twice: the kernel puts the old root on top of the new one.
    if (chdir("/tmp") != 0 || syscall(SYS_pivot_root, ".", ".") != 0) fail("changing the root");
    if (fchdir(oldRoot.get()) != 0) fail("entering the old root");
}

bool isOwnFolder(const std::string& name) {
    for (const char* folder : kOwnFolders) {
        if (name == folder) return true;
    }
    return false;
}

void bindTo(const fs::path& source, const fs::path& target) {
    if (fs::is_directory(source)) {
        fs::create_directory(target);
    } else {
        const unique_fd file(open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    }
    mountOrFail(source.c_str(), target, nullptr, MS_BIND | MS_REC);
}

// Brings every top-level folder of the old root (the working folder) back, but the world's own.
void bindOldFolders() {
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        const std::string name = entry.path().filename();
        if (isOwnFolder(name)) continue;
        const fs::path target = fs::path("/") / name;
        if (entry.is_symlink()) {
            fs::create_symlink(fs::read_symlink(entry.path()), target);
        } else if (entry.is_directory() || entry.is_regular_file()) {
            bindTo(entry.path(), target);
        }
    }
}

void makeDev() {
    fs::create_directories("/dev/pts");
    fs::create_directories("/dev/shm");
    fs::permissions("/dev/shm", fs::perms::all | fs::perms::sticky_bit);
    for (const char* name : {"null", "zero", "full", "random", "urandom", "tty"}) {
        bindTo(fs::path("dev") / name, fs::path("/dev") / name);
    }
    mountOrFail("devpts", "/dev/pts", "devpts", 0, "newinstance,ptmxmode=0666,mode=0620");
    fs::create_symlink("pts/ptmx", "/dev/ptmx");
    fs::create_symlink("/proc/self/fd", "/dev/fd");
    fs::create_symlink("/proc/self/fd/0", "/dev/stdin");
    fs::create_symlink("/proc/self/fd/1", "/dev/stdout");
    fs::create_symlink("/proc/self/fd/2", "/dev/stderr");
}

void build(const fs::path& workingFolder) {
    const mode_t mask = umask(0);
    changeRoot();
    bindOldFolders();
    for (const char* folder : kOwnFolders) {
        fs::create_directory(fs::path("/") / folder);
        fs::permissions(fs::path("/") / folder, fs::perms(0755));
    }
    makeDev();
    umask(mask);
    if (umount2(".", MNT_DETACH) != 0 || chdir("/") != 0) fail("leaving the old root");
    // A working folder that the world hides is left for the root.
    std::error_code ignored;
    fs::current_path(workingFolder, ignored);
}

}  // namespace

std::string enterWorld() {
    try {
        const fs::path workingFolder = fs::current_path();
        leaveNamespaces();
        build(workingFolder);
        unsetenv(kInsideVariable);
        return {};
    } catch (const std::exception& error) {
        std::string line = error.what();
        if (dynamic_cast<const Forbidden*>(&error) == nullptr) {
            line = "cannot make the phone's private world: " + line;
        }
        return line;
    }
}

bool isHiddenByWorld(const std::string& path) {
    return isOfWorld(resolve(fs::absolute(path)));
}

}  // namespace phone
