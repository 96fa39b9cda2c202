// Entering the world, each time in a process of its own.

#include "emulator/phone/World.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator/phone/Phone.h"

namespace {

namespace fs = std::filesystem;

// Runs `body` in a child process and returns what it returned.
std::string inChild(const std::function<std::string()>& body) {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        const std::string text = body();
        (void)!write(ends[1], text.data(), text.size());
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = read(ends[0], buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(count));
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return text;
}

std::string listFolder(const char* folder) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    std::string text;
    for (const std::string& name : names) text += name + " ";
    return text;
}

// Makes the system calls that make namespaces fail with `error`, in this process.
void forbidNamespaces(uint32_t error) {
    sock_filter code[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(code), code};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program);
}

TEST(WorldTest, HasItsOwnDevices) {
    EXPECT_EQ(inChild([] {
                  const std::string error = phone::enterWorld();
                  return error.empty() ? listFolder("/dev") : error;
              }),
              "fd full null ptmx pts random shm stderr stdin stdout tty urandom zero ");
}

TEST(WorldTest, HasEmptyFoldersOfItsOwnAndAllOthersAsBefore) {
    std::set<std::string> names = {"data", "dev", "sys", "system_ext"};
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        const std::string name = entry.path().filename();
        const fs::file_status status = entry.symlink_status();
        if (fs::is_directory(status) || fs::is_symlink(status) || fs::is_regular_file(status)) {
            names.insert(name);
        }
    }
    std::string expected;
    for (const std::string& name : names) expected += name + " ";
    const std::string usr = listFolder("/usr");
    EXPECT_EQ(inChild([] {
                  const std::string error = phone::enterWorld();
                  if (!error.empty()) return error;
                  return listFolder("/") + "|" + listFolder("/sys") + listFolder("/data") +
                         listFolder("/system_ext") + "|" + listFolder("/usr");
              }),
              expected + "||" + usr);
}

TEST(WorldTest, KeepsTheWorkingFolder) {
    const std::string before = fs::current_path();
    EXPECT_EQ(inChild([] {
                  const std::string error = phone::enterWorld();
                  return error.empty() ? fs::current_path().string() : error;
              }),
              before);
}

TEST(WorldTest, LeavesAWorkingFolderThatItHides) {
    EXPECT_EQ(inChild([] {
                  fs::current_path("/sys/kernel");
                  const std::string error = phone::enterWorld();
                  return error.empty() ? fs::current_path().string() : error;
              }),
              "/");
}

TEST(WorldTest, DevicesWork) {
    EXPECT_EQ(inChild([] {
                  const std::string error = phone::enterWorld();
                  if (!error.empty()) return error;
                  char byte = 'x';
                  const int zero = open("/dev/zero", O_RDONLY);
                  if (read(zero, &byte, 1) != 1 || byte != 0) return std::string("zero");
                  const int full = open("/dev/full", O_WRONLY);
                  if (write(full, &byte, 1) != -1 || errno != ENOSPC) return std::string("full");
                  const int null = open("/dev/null", O_WRONLY);
                  if (write(null, &byte, 1) != 1) return std::string("null");
                  const int pty = open("/dev/ptmx", O_RDWR | O_NOCTTY);
                  return std::string(pty >= 0 ? ptsname(pty) : "no pty");
              }),
              "/dev/pts/0");
}

TEST(WorldTest, HasANetworkOfItsOwn) {
    EXPECT_EQ(inChild([] {
                  const std::string error = phone::enterWorld();
                  if (!error.empty()) return error;
                  std::ifstream devices("/proc/thread-self/net/dev");
                  std::string line;
                  std::string names;
                  while (std::getline(devices, line)) {
                      const size_t colon = line.find(':');
                      if (colon == std::string::npos) continue;
                      names += line.substr(line.find_first_not_of(' '),
                                           colon - line.find_first_not_of(' '));
                  }
                  return names;
              }),
              "lo");
}

TEST(WorldTest, CanBeEnteredFromWithinAWorld) {
    EXPECT_EQ(inChild([] {
                  std::string error = phone::enterWorld();
                  if (error.empty()) error = phone::enterWorld();
                  return error.empty() ? listFolder("/sys") + "entered" : error;
              }),
              "entered");
}

TEST(WorldTest, SaysInOneLineWhatIsForbiddenAndHowToAllowIt) {
    for (const uint32_t error : {EPERM, ENOSPC}) {
        const std::string line = inChild([error] {
            forbidNamespaces(error);
            return phone::enterWorld();
        });
        EXPECT_THAT(line, testing::HasSubstr("namespaces are forbidden here"));
        EXPECT_THAT(line, testing::HasSubstr("sysctl"));
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
}

TEST(WorldTest, KnowsWhichPathsItHides) {
    for (const char* path : {"/dev/x", "/sys/class", "/data/a/b", "/system_ext/etc", "/dev/null"}) {
        EXPECT_TRUE(phone::isHiddenByWorld(path)) << path;
    }
    for (const char* path : {"/usr/bin/sh", "/tmp", "relative", "/deva/x", "/proc/self"}) {
        EXPECT_FALSE(phone::isHiddenByWorld(path)) << path;
    }
}

}  // namespace
