// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator run: what it runs, where the journal goes, and too little of what it needs.

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/phone/Program.h"

namespace {

namespace fs = std::filesystem;

using program::kEmulator;
using program::ProgramTest;
using support::Outcome;
using support::Process;
using testing::HasSubstr;
using testing::StartsWith;

// Of a recording.
constexpr char kHeader[] = R"({"recording":2,"program":"bivista-emulator )";
constexpr char kService[] = "vendor.qmx.hardware.bivista@1.1-service";

class RunTest : public ProgramTest {
  protected:
    // The program in a folder of its own, without what was built beside it.
    std::string givenCopy() const {
        const std::string path = mFolder + "/usr/bin/bivista-emulator";
        fs::create_directories(mFolder + "/usr/bin");
        fs::copy(kEmulator, path);
        return path;
    }
    void givenService(const std::string& folder, const std::string& script) const {
        const fs::path path = mFolder + folder + "/" + kService;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "#!/bin/sh\n" << script;
        fs::permissions(path, fs::perms::owner_all);
    }
    std::string givenFifo() const {
        std::string path = mFolder + "/fifo";
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }
};

TEST_F(RunTest, RunsTheServiceThatLiesBesideIt) {
    const std::string copy = givenCopy();
    givenService("/usr/libexec/bivista", "echo installed $#; exit 3");
    Process installed({copy, "run"});
    EXPECT_EQ(installed.wait(), 3) << installed.err();
    EXPECT_EQ(installed.out(), "installed 0\n");
    givenService("/usr/bin", "echo built $#; exit 4");
    Process built({copy, "run", "--no-cover"});
    EXPECT_EQ(built.wait(), 4) << built.err();
    EXPECT_EQ(built.out(), "built 0\n");
}

TEST_F(RunTest, SaysThatNoServiceLiesBesideIt) {
    Process child({givenCopy(), "run"});
    EXPECT_EQ(child.wait(), 127);
    EXPECT_EQ(child.err(),
              "bivista-emulator: no vendor.qmx.hardware.bivista@1.1-service lies beside this "
              "program: name what to run after \"--\"\n");
}

TEST_F(RunTest, WaitsForAReaderOfAFifoAndCanBeInterrupted) {
    const std::string fifo = givenFifo();
    // Standard error into our pipe, to see when it waits.
    Process waiting({"/bin/sh", "-c",
                     "exec " + kEmulator + " run --journal " + fifo + " -- /bin/true 2>&1"});
    const std::string line =
            "bivista-emulator: waits until somebody reads the FIFO " + fifo + ", the journal's\n";
    waiting.waitFor(line);
    kill(waiting.pid(), SIGINT);
    EXPECT_EQ(waiting.wait(), 128 + SIGINT);
    EXPECT_EQ(waiting.out(), line);
    EXPECT_TRUE(fs::is_fifo(fifo));
}

TEST_F(RunTest, WritesTheWholeJournalIntoAFifo) {
    const std::string fifo = givenFifo();
    Process reader({"/bin/sh", "-c", "exec cat " + fifo + " > " + mFolder + "/read"});
    const Outcome outcome = invoke({"run", "--journal", fifo, "--", "/bin/sh", "-c",
                                    "for i in $(seq 1000); do echo > /sys/power/wake_lock; done; " +
                                            kEmulator + " ctl journal > " + mFolder + "/journal"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(reader.wait(), 0);
    const std::string journal = contentOf(mFolder + "/journal");
    EXPECT_THAT(journal, HasSubstr("{\"seq\":3000,"));
    // After the recording's header, and what comes after the last answer is in it too.
    const std::string read = contentOf(mFolder + "/read");
    EXPECT_TRUE(read.substr(read.find('\n') + 1).starts_with(journal));
}

// More than a FIFO holds, and no reader takes it: the program ends all the same.
TEST_F(RunTest, DoesNotWaitForASlowReaderOfAFifo) {
    const std::string fifo = givenFifo();
    Process phone(
            emulator({"run", "--journal", fifo, "--", "/bin/sh", "-c",
                      "for i in $(seq 1000); do echo > /sys/power/wake_lock; done; echo done"}));
    const int reader = open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
    phone.waitFor("done\n");
    EXPECT_EQ(phone.wait(), 0);
    close(reader);
    EXPECT_THAT(phone.err(), HasSubstr("bivista-emulator: the journal " + fifo +
                                       " is not whole: its reader takes nothing\n"));
}

TEST_F(RunTest, SaysThatTheReaderOfAFifoHasGone) {
    const std::string fifo = givenFifo();
    Process phone(emulator({"run", "--journal", fifo, "--", "/bin/sh", "-c",
                            "exec 2>&1; echo up; read line; exit 0"}));
    const int reader = open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
    phone.waitFor("up\n");
    close(reader);
    EXPECT_EQ(phone.wait(), 0);
    EXPECT_THAT(phone.err(), HasSubstr("bivista-emulator: the journal " + fifo +
                                       " is not whole: its reader has gone\n"));
}

TEST_F(RunTest, JournalInARegularFileIsAnewEachTime) {
    const std::string file = mFolder + "/journal";
    const std::string link = mFolder + "/link";
    std::ofstream(file) << "before\n";
    fs::create_symlink("journal", link);
    EXPECT_EQ(invoke({"run", "--journal", link, "--", "/bin/true"}).status, 0);
    EXPECT_THAT(contentOf(file), StartsWith(kHeader));
    EXPECT_THAT(contentOf(file), HasSubstr("\"images\":{}}}\n{\"seq\":1,"));
    EXPECT_TRUE(fs::is_symlink(link));
}

// As a shell's >(...), a terminal or /dev/null: what the world hides is open before.
TEST_F(RunTest, JournalMayGoIntoASpecialFileOfTheHostsDev) {
    const Outcome outcome = invoke({"run", "--journal", "/dev/stdout", "--", "/bin/true"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, StartsWith(kHeader));
    const Outcome full = invoke({"run", "--journal", "/dev/full", "--", "/bin/true"});
    EXPECT_EQ(full.status, 0);
    EXPECT_EQ(full.err,
              "bivista-emulator: the journal /dev/full is not whole: No space left on device\n");
}

TEST_F(RunTest, SaysThatTheJournalsDiskIsFull) {
    const std::string disk = mFolder + "/disk";
    const std::string journal = disk + "/journal";
    Process child({"/usr/bin/unshare", "-m", "/bin/sh", "-c",
                   "mkdir " + disk + "; mount -t tmpfs -o size=4k none " + disk + "; " + kEmulator +
                           " run --journal " + journal +
                           " -- /bin/sh -c 'for i in $(seq 100); do echo > /sys/power/wake_lock; "
                           "done; exit 3'"});
    EXPECT_EQ(child.wait(), 3);
    EXPECT_EQ(child.err(), "bivista-emulator: the journal " + journal +
                                   " is not whole: No space left on device\n");
}

TEST_F(RunTest, SaysThatNoThreadCanBeMade) {
    Process child({WITHOUT_THREADS, kEmulator, "run", "--", "/bin/true"});
    EXPECT_EQ(child.wait(), 125);
    EXPECT_EQ(child.err(),
              "bivista-emulator: more memory, threads or descriptors are needed, see \"ulimit "
              "-a\": Resource temporarily unavailable\n");
}

TEST_F(RunTest, EndsWithADocumentedStatusWhateverIsScarce) {
    if (!LIMITS_RESOURCES) GTEST_SKIP() << "a sanitizer needs more";
    std::vector<std::string> limits;
    for (int count = 4; count <= 28; count += 3) limits.push_back("-n " + std::to_string(count));
    for (int size = 36; size <= 200; size += 20) {
        limits.push_back("-v " + std::to_string(size) + "000");
    }
    for (const std::string& limit : limits) {
        Process child(
                {"/bin/sh", "-c", "ulimit " + limit + "; exec " + kEmulator + " run -- /bin/true"});
        const int status = child.wait();
        EXPECT_THAT(status, testing::AnyOf(0, 125, 127)) << limit;
        if (status != 0) EXPECT_THAT(child.err(), HasSubstr("bivista-emulator: ")) << limit;
    }
}

TEST_F(RunTest, HelpNamesTheExitStatuses) {
    EXPECT_THAT(invoke({"run", "--help"}).out,
                HasSubstr("Exit status: that of the program, 128 + N when signal N ended it; 2 "
                          "wrong arguments; 125 no\nphone could be made, or it ran out of memory, "
                          "descriptors or threads; 127 the program could\nnot be started.\n"));
}

}  // namespace
