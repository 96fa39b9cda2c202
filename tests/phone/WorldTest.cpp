// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The world, seen by a shell in it.

#include "emulator/phone/world/World.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <set>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/support/Process.h"

namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

using support::Outcome;

// Lets the system calls that make namespaces fail with `error`, in this process.
void forbidNamespaces(uint32_t error) {
    sock_filter code[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 3, 0),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 3),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
            BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_NEWUSER, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(code), code};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program);
}

// Runs a script in a world within `depth` - 1 others; namespaces fail with `error`, if not 0.
Outcome probe(const char* script, const char* depth = "1", uint32_t error = 0,
              const char* folder = "/") {
    const auto before = [=] {
        if (chdir(folder) != 0) _exit(126);
        if (error != 0) forbidNamespaces(error);
    };
    return support::Process({WORLD_PROBE, depth, script}, {.before = before}).outcome();
}

TEST(WorldTest, HasItsOwnDevices) {
    EXPECT_EQ(probe("echo /dev/*").out,
              "/dev/fd /dev/full /dev/null /dev/ptmx /dev/pts /dev/random /dev/shm /dev/stderr "
              "/dev/stdin /dev/stdout /dev/tty /dev/urandom /dev/zero\n");
}

TEST(WorldTest, DevicesWork) {
    EXPECT_EQ(probe("head -c 2 /dev/zero | od -An -tx1; head -c 1 /dev/urandom | wc -c; "
                    "echo x > /dev/null && echo written; "
                    "(echo x > /dev/full) 2>/dev/null || echo full")
                      .out,
              " 00 00\n1\nwritten\nfull\n");
}

TEST(WorldTest, HasPtysOfItsOwn) {
    EXPECT_EQ(probe("exec 3<> /dev/ptmx; echo /dev/pts/*").out, "/dev/pts/0 /dev/pts/ptmx\n");
}

TEST(WorldTest, HasEmptyFoldersOfItsOwn) {
    EXPECT_EQ(probe("ls -A /sys /data /system_ext").out, "/data:\n\n/sys:\n\n/system_ext:\n");
}

TEST(WorldTest, HasAllOtherFoldersAsBefore) {
    std::set<std::string> names = {"data", "dev", "sys", "system_ext"};
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        const fs::file_status status = entry.symlink_status();
        if (fs::is_directory(status) || fs::is_symlink(status) || fs::is_regular_file(status)) {
            names.insert(entry.path().filename());
        }
    }
    std::string expected;
    for (const std::string& name : names) expected += name + "\n";
    EXPECT_EQ(probe("LC_ALL=C ls -A /").out, expected);
    struct stat outside;
    ASSERT_EQ(stat("/usr/bin", &outside), 0);
    EXPECT_EQ(probe("stat -c %i /usr/bin").out, std::to_string(outside.st_ino) + "\n");
}

TEST(WorldTest, KeepsTheWorkingFolder) {
    EXPECT_EQ(probe("/bin/pwd", "1", 0, "/usr/bin").out, "/usr/bin\n");
}

TEST(WorldTest, LeavesAWorkingFolderThatItHides) {
    EXPECT_EQ(probe("/bin/pwd", "1", 0, "/sys/kernel").out, "/\n");
}

TEST(WorldTest, HasANetworkOfItsOwn) {
    EXPECT_EQ(probe("grep -c : /proc/self/net/dev; grep -o lo: /proc/self/net/dev").out,
              "1\nlo:\n");
}

TEST(WorldTest, MakesItsCallerRoot) {
    EXPECT_EQ(probe("id -u; id -g").out, "0\n0\n");
}

TEST(WorldTest, LeavesNothingOutside) {
    EXPECT_EQ(probe("echo x > /sys/mark; echo x > /data/mark; echo x > /dev/mark").status, 0);
    for (const char* path : {"/sys/mark", "/data/mark", "/dev/mark"}) {
        EXPECT_FALSE(fs::exists(path)) << path;
    }
}

TEST(WorldTest, CanBeEnteredFromWithinAWorld) {
    EXPECT_EQ(probe("ls -A /sys; echo entered", "2").out, "entered\n");
}

// The root of the outer world, which may be written, is the host's.
TEST(WorldTest, TakesNoNameOfTheHostsRoot) {
    const Outcome outcome =
            probe("mkdir /.old /.new; echo old > /.old/mark; echo new > /.new/mark; "
                  "export names=\"$(ls -A /)\"; exec " WORLD_PROBE
                  " 1 'cat /.old/mark /.new/mark; ls -A /sys /data; "
                  "test \"$(ls -A /)\" = \"$names\" && echo all'");
    EXPECT_EQ(outcome.out, "old\nnew\n/data:\n\n/sys:\nall\n");
}

TEST(WorldTest, PhoneRunsWhateverTheHostHasInItsRoot) {
    const Outcome outcome = probe(
            "mkdir /.old /.new; export names=\"$(ls -A /)\" HIDL_SOCKET_DIR=$(mktemp -d); " EMULATOR
            " run -- /bin/sh -c 'cat /sys/bus/usb/devices/1-1/idVendor; "
            "test -L /dev/ttyACM0 && echo attached; "
            "test \"$(ls -A /)\" = \"$names\" && echo all'; rm -r $HIDL_SOCKET_DIR");
    EXPECT_EQ(outcome.out, "3e91\nattached\nall\n");
}

TEST(WorldTest, NeedsNoRootThatCanBeWritten) {
    const Outcome outcome =
            probe("mount -o remount,bind,ro / && ! mkdir /x 2>/dev/null && exec " WORLD_PROBE
                  " 1 'mkdir /x && ls -A /sys && echo entered'");
    EXPECT_EQ(outcome.out, "entered\n");
}

TEST(WorldTest, SaysInOneLineWhatIsForbiddenAndHowToAllowIt) {
    for (const uint32_t error : {EPERM, ENOSPC}) {
        const Outcome outcome = probe("true", "1", error);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.out, HasSubstr("namespaces are forbidden here"));
        EXPECT_THAT(outcome.out, HasSubstr("sysctl"));
        EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1);
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
