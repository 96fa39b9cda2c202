// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Control files: what is written to them is recorded exactly, and they can fail.

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Entry;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kControl[] = "/sys/class/tty/ttyACM0/device/../power/control";

class NodeTest : public support::PhoneTest {
  protected:
    static void writeTo(const char* path, const std::string& text) {
        const unique_fd node(open(path, O_WRONLY | O_CLOEXEC));
        ASSERT_TRUE(node.ok()) << path;
        ASSERT_EQ(write(node.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    static std::string contentOf(const char* path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static int openError(const char* path, int flags) {
        const unique_fd node(open(path, flags));
        return node.ok() ? 0 : errno;
    }

    static int accessError(const char* path, int mode) {
        return access(path, mode) == 0 ? 0 : errno;
    }
};

TEST_F(NodeTest, RecordsAWriteAndShowsItToReaders) {
    writeTo(phone::kHalReady, "Y");
    EXPECT_EQ(contentOf(phone::kHalReady), "Y");
    const std::vector<Entry> entries = journal.since(first);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].kind, Kind::NodeOpen);
    EXPECT_EQ(entries[0].note, "O_WRONLY|O_CLOEXEC");
    EXPECT_EQ(entries[1].kind, Kind::NodeWrite);
    EXPECT_EQ(entries[1].bytes, "Y");
    EXPECT_EQ(entries[2].kind, Kind::NodeClose);
    for (const Entry& entry : entries) EXPECT_EQ(entry.path, phone::kHalReady);
}

TEST_F(NodeTest, ShowsTheLastWriteAndNoMixtureOfTwo) {
    phone.cover.attach();
    writeTo(kControl, "auto");
    writeTo(kControl, "on");
    EXPECT_EQ(contentOf(kControl), "on");
    writeTo(kControl, "auto");
    EXPECT_EQ(contentOf(kControl), "auto");
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("auto", "on", "auto"));
}

TEST_F(NodeTest, RecordsEachWriteOfOneOpen) {
    {
        const unique_fd node(open(phone::kPowerNode, O_WRONLY));
        ASSERT_EQ(write(node.get(), "1 0", 3), 3);
        ASSERT_EQ(write(node.get(), "0 0", 3), 3);
    }
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("1 0", "0 0"));
    EXPECT_EQ(contentOf(phone::kPowerNode), "0 0");
}

TEST_F(NodeTest, RecordsBytesThatAreNotText) {
    const std::string bytes("\x00\xff\n\\", 4);
    writeTo(phone::kAesMode, bytes);
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre(bytes));
    EXPECT_EQ(contentOf(phone::kAesMode), bytes);
}

TEST_F(NodeTest, TakesAStreamInTruncatingMode) {
    FILE* stream = fopen(phone::kFirmwareWrite, "we");
    ASSERT_NE(stream, nullptr);
    EXPECT_GE(fputs("-7", stream), 0);
    EXPECT_EQ(fclose(stream), 0);
    EXPECT_EQ(contentOf(phone::kFirmwareWrite), "-7");
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("-7"));
    EXPECT_EQ(journal.since(first).at(0).note, "O_WRONLY|O_CREAT|O_TRUNC|O_CLOEXEC");
}

TEST_F(NodeTest, KeepsItsContentWhenItIsOnlyOpened) {
    { const unique_fd node(open(phone::kPowerNode, O_WRONLY | O_TRUNC)); }
    EXPECT_EQ(contentOf(phone::kPowerNode), "0 0\n");
}

TEST_F(NodeTest, IsMadeByACreatingOpenOnly) {
    constexpr char kNew[] = "/sys/module/usbhid/parameters/new";
    EXPECT_EQ(openError(kNew, O_WRONLY), ENOENT);
    FILE* stream = fopen(kNew, "w");
    ASSERT_NE(stream, nullptr);
    fputs("1", stream);
    fclose(stream);
    EXPECT_EQ(contentOf(kNew), "1");
}

TEST_F(NodeTest, IsFoundFromAWorkingFolderAndThroughAFolderDescriptor) {
    const unique_fd folder(open("/sys/class/bivista", O_RDONLY | O_DIRECTORY));
    {
        const unique_fd node(openat(folder.get(), "bv2/../bv2/bv2_pd", O_WRONLY));
        ASSERT_EQ(write(node.get(), "1", 1), 1);
    }
    ASSERT_EQ(chdir("/sys/class/bivista/bv2"), 0);
    writeTo("bv2_hal_ready", "2");
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_THAT(journal.list(Kind::NodeWrite, first), ElementsAre("1", "2"));
    EXPECT_EQ(contentOf(phone::kPowerNode), "1");
    EXPECT_EQ(contentOf(phone::kHalReady), "2");
}

TEST_F(NodeTest, ReadingIsNotRecorded) {
    contentOf(phone::kPowerNode);
    EXPECT_THAT(journal.since(first), IsEmpty());
}

TEST_F(NodeTest, WritesComeAheadOfTheTtyBytesThatFollowThem) {
    phone.cover.attach();
    support::setLines(unique_fd(open("/dev/ttyACM0", O_RDWR | O_NOCTTY)));
    for (int i = 0; i < 200; ++i) {
        const uint64_t from = journal.next();
        writeTo(kControl, "on");
        const unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        ASSERT_EQ(write(tty.get(), "AT\r", 3), 3);
        writeTo(kControl, "auto");
        std::vector<std::string> order;
        for (const Entry& entry : journal.since(from)) {
            if (entry.kind == Kind::NodeWrite || entry.kind == Kind::TtyRx) {
                order.push_back(entry.bytes);
            }
        }
        ASSERT_THAT(order, ElementsAre("on", "AT\r", "auto")) << i;
    }
}

TEST_F(NodeTest, KernelLogIsRecordedAndReadable) {
    const unique_fd log(open(phone::kKernelLog, O_WRONLY | O_APPEND | O_CLOEXEC));
    ASSERT_EQ(write(log.get(), "<6>one\n", 7), 7);
    ASSERT_EQ(write(log.get(), "<6>two\n", 7), 7);
    EXPECT_THAT(journal.list(Kind::KernelLog, first), ElementsAre("<6>one\n", "<6>two\n"));
    EXPECT_EQ(contentOf(phone::kKernelLog), "<6>one\n<6>two\n");
}

TEST_F(NodeTest, ManyThreadsWriteAtOnceAndNothingIsLost) {
    constexpr int kThreads = 4;
    constexpr int kWrites = 50;
    std::vector<std::thread> writers;
    writers.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        writers.emplace_back([] {
            for (int k = 0; k < kWrites; ++k) writeTo(phone::kPowerNode, "1 1");
        });
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(journal.list(Kind::NodeWrite, first).size(), size_t{kThreads * kWrites});
}

TEST_F(NodeTest, MissingNodeIsNotThereForAnybody) {
    phone.faults.set(std::string("node ") + phone::kRecovery + " missing");
    EXPECT_EQ(openError(phone::kRecovery, O_WRONLY), ENOENT);
    EXPECT_EQ(openError(phone::kRecovery, O_RDONLY), ENOENT);
    EXPECT_EQ(accessError(phone::kRecovery, F_OK), ENOENT);
    EXPECT_EQ(journal.list(Kind::NodeRefused, first).size(), 3u);
    phone.faults.clear();
    EXPECT_EQ(openError(phone::kRecovery, O_WRONLY), 0);
    EXPECT_EQ(accessError(phone::kRecovery, F_OK), 0);
}

TEST_F(NodeTest, UnreadableNodeExistsAndCanBeWritten) {
    phone.faults.set(std::string("node ") + phone::kUpdateState + " unreadable");
    EXPECT_EQ(accessError(phone::kUpdateState, F_OK), 0);
    EXPECT_EQ(accessError(phone::kUpdateState, R_OK), EACCES);
    EXPECT_EQ(openError(phone::kUpdateState, O_RDONLY), EACCES);
    EXPECT_EQ(openError(phone::kUpdateState, O_RDWR), EACCES);
    EXPECT_EQ(openError(phone::kUpdateState, O_WRONLY), 0);
}

TEST_F(NodeTest, UnwritableNodeCanBeRead) {
    phone.faults.set(std::string("node ") + phone::kUpdateState + " unwritable");
    EXPECT_EQ(openError(phone::kUpdateState, O_WRONLY), EACCES);
    EXPECT_EQ(openError(phone::kUpdateState, O_RDONLY), 0);
}

TEST_F(NodeTest, EveryWriteToAnEioNodeFails) {
    phone.faults.set(std::string("node ") + phone::kRecovery + " eio");
    const unique_fd node(open(phone::kRecovery, O_WRONLY));
    ASSERT_TRUE(node.ok());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(write(node.get(), "Y", 1), -1);
        EXPECT_EQ(errno, EIO);
    }
    EXPECT_EQ(contentOf(phone::kRecovery), "N\n");
    EXPECT_EQ(journal.since(first).back().note, "O_WRONLY eio");
}

TEST_F(NodeTest, EveryReadOfAReadEioNodeFails) {
    phone.faults.set(std::string("node ") + phone::kWakeLock + " read-eio");
    const unique_fd node(open(phone::kWakeLock, O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(node.ok());
    EXPECT_EQ(fcntl(node.get(), F_GETFD), FD_CLOEXEC);
    char bytes[64];
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(read(node.get(), bytes, sizeof(bytes)), -1);
        EXPECT_EQ(errno, EIO);
    }
    EXPECT_EQ(journal.since(first).back().note, "O_RDONLY|O_CLOEXEC read-eio");
    EXPECT_EQ(accessError(phone::kWakeLock, R_OK), 0);
    writeTo(phone::kWakeLock, "x");
    phone.faults.clear();
    EXPECT_EQ(contentOf(phone::kWakeLock), "x");
}

TEST_F(NodeTest, ReadEioNodeThatIsNotThereIsNotFound) {
    phone.faults.set("node /sys/none read-eio");
    EXPECT_EQ(openError("/sys/none", O_RDONLY), ENOENT);
}

TEST_F(NodeTest, FaultOfAnAttachedDeviceMayBeSetBeforeItComes) {
    phone.faults.set(std::string("node ") + kControl + " missing");
    phone.cover.attach();
    EXPECT_EQ(openError(kControl, O_WRONLY), ENOENT);
}

TEST_F(NodeTest, FaultOfTheTtyRefusesItsOpening) {
    phone.cover.attach();
    phone.faults.set("node /dev/ttyACM0 unwritable");
    EXPECT_EQ(openError("/dev/ttyACM0", O_RDWR | O_NOCTTY), EACCES);
}

TEST_F(NodeTest, WrongFaultsSayWhatToWrite) {
    for (const char* text :
         {"node", "node /sys/x", "node sys/x missing", "node /sys/x broken",
          "node /sys/a b missing", "node \"/sys/\\q\" missing", "node \"\" missing", "nonsense"}) {
        EXPECT_THROW(phone.faults.set(text), phone::Error) << text;
    }
    EXPECT_THAT(phone.faults.list(), IsEmpty());
}

TEST_F(NodeTest, FaultsAreListedAsTheyCanBeSetAgain) {
    phone.faults.set("on AT%SWV silent");
    phone.faults.set("node \"/sys/a b\" eio");
    const std::vector<std::string> listed = phone.faults.list();
    EXPECT_EQ(listed.size(), 2u);
    phone.faults.clear();
    for (const std::string& text : listed) phone.faults.set(text);
    EXPECT_EQ(phone.faults.list(), listed);
}

TEST_F(NodeTest, ContentIsSetReadAndRemoved) {
    phone.files.set(phone::kUpdateState, "3 1 0");
    EXPECT_EQ(contentOf(phone::kUpdateState), "3 1 0");
    EXPECT_EQ(phone.files.get(phone::kUpdateState), "3 1 0");
    phone.files.remove(phone::kUpdateState);
    EXPECT_EQ(openError(phone::kUpdateState, O_RDONLY), ENOENT);
    EXPECT_EQ(phone.files.get(phone::kUpdateState), std::nullopt);
    EXPECT_THROW(phone.files.remove(phone::kUpdateState), phone::Error);
}

TEST_F(NodeTest, ContentOutsideTheWorldIsOutOfReach) {
    for (const char* path : {"/etc/passwd", "/sys/../etc/passwd", "/dev/../tmp/x", "sys/x", "",
                             "/dev/fd/../../../tmp/x"}) {
        EXPECT_THROW(phone.files.set(path, "x"), phone::Error) << path;
        EXPECT_THROW(phone.files.remove(path), phone::Error) << path;
        EXPECT_THROW(phone.files.get(path), phone::Error) << path;
    }
}

TEST_F(NodeTest, ContentOfSomethingThatIsNoFileIsRefused) {
    EXPECT_THROW(phone.files.set("/sys/class/bivista", "x"), phone::Error);
    EXPECT_THROW(phone.files.remove("/sys/class/bivista"), phone::Error);
    EXPECT_THROW(phone.files.set("/dev/null", "x"), phone::Error);
    EXPECT_EQ(phone.files.get("/dev/null"), std::nullopt);
}

TEST_F(NodeTest, WakeLockKeepsItsLength) {
    const std::string held = contentOf(phone::kWakeLock);
    EXPECT_NE(held.find("PowerManagerService.Display"), std::string::npos);
    phone.files.setWakeLock(false);
    const std::string released = contentOf(phone::kWakeLock);
    EXPECT_EQ(released.find("PowerManagerService.Display"), std::string::npos);
    EXPECT_EQ(released.size(), held.size());
    phone.files.setWakeLock(true);
    EXPECT_EQ(contentOf(phone::kWakeLock), held);
}

TEST_F(NodeTest, WakeLockIsModifiedInPlaceAndNeverSeenEmpty) {
    const unique_fd watch(inotify_init1(IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), phone::kWakeLock, IN_ALL_EVENTS & ~IN_ACCESS), 0);
    for (const bool held : {false, true, false}) phone.files.setWakeLock(held);
    alignas(inotify_event) char buffer[4096];
    const ssize_t size = read(watch.get(), buffer, sizeof(buffer));
    int modifications = 0;
    for (ssize_t at = 0; at < size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        EXPECT_EQ(event->mask & (IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF), 0u);
        if ((event->mask & IN_MODIFY) != 0) ++modifications;
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    EXPECT_EQ(modifications, 3);

    std::atomic<bool> done = false;
    std::thread reader([&] {
        while (!done) EXPECT_FALSE(contentOf(phone::kWakeLock).empty());
    });
    for (int i = 0; i < 200; ++i) phone.files.setWakeLock(i % 2 == 0);
    done = true;
    reader.join();
}

TEST_F(NodeTest, PropertiesAreLinesOfAFile) {
    phone.properties.set("ro.product.device", "Q-71C");
    phone.properties.set("a", "1=2");
    phone.properties.set("a", "");
    EXPECT_EQ(contentOf(phone::kPropertyFile), "a=\nro.product.device=Q-71C\n");
    phone.properties.clear();
    EXPECT_EQ(openError(phone::kPropertyFile, O_RDONLY), ENOENT);
}

TEST_F(NodeTest, PropertiesThatAreNoLineAreRefused) {
    EXPECT_THROW(phone.properties.set("", "x"), phone::Error);
    EXPECT_THROW(phone.properties.set("a=b", "x"), phone::Error);
    EXPECT_THROW(phone.properties.set("a\nb", "x"), phone::Error);
    EXPECT_THROW(phone.properties.set("a", "x\ny"), phone::Error);
    EXPECT_EQ(phone.properties.list().size(), 0u);
}

}  // namespace
