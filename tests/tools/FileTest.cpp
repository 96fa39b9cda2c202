// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// cli/File.h: files that the programs write.
#include "cli/File.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace fs = std::filesystem;

namespace {

class FileTest : public testing::Test {
  protected:
    FileTest() {
        char folder[] = "/tmp/file-test-XXXXXX";
        if (mkdtemp(folder) == nullptr) abort();
        mFolder = folder;
    }
    ~FileTest() override { fs::remove_all(mFolder); }

    std::string given(const std::string& name, const std::string& content) const {
        std::ofstream(mFolder + "/" + name) << content;
        return mFolder + "/" + name;
    }
    std::string givenFifo() const {
        std::string path = mFolder + "/fifo";
        EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
        return path;
    }
    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static mode_t modeOf(const std::string& path) {
        struct stat info = {};
        EXPECT_EQ(0, lstat(path.c_str(), &info));
        return info.st_mode;
    }
    // Nothing but these is in the folder.
    void expectFiles(const std::vector<std::string>& names) const {
        std::vector<std::string> found;
        for (const fs::directory_entry& entry : fs::directory_iterator(mFolder)) {
            found.push_back(entry.path().filename());
        }
        std::sort(found.begin(), found.end());
        EXPECT_EQ(names, found);
    }

    std::string mFolder;
};

// While it lives, files end after so many bytes, as on a full disk.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : mHandler(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &mBefore);
        const rlimit limit = {bytes, mBefore.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &mBefore);
        signal(SIGXFSZ, mHandler);
    }

  private:
    rlimit mBefore = {};
    const sighandler_t mHandler;
};

TEST_F(FileTest, IsMadeWithTheModeOfAnyNewFile) {
    const std::string path = mFolder + "/file";
    const mode_t before = umask(027);
    EXPECT_EQ("", cli::writeFile(path, "bytes"));
    umask(before);
    EXPECT_EQ("bytes", contentOf(path));
    EXPECT_EQ(S_IFREG | 0640u, modeOf(path));
    expectFiles({"file"});
}

TEST_F(FileTest, KeepsItsModeWhenItIsReplaced) {
    const std::string path = given("file", "a longer content");
    ASSERT_EQ(0, chmod(path.c_str(), 0605));
    EXPECT_EQ("", cli::writeFile(path, std::string("n\0w", 3)));
    EXPECT_EQ(std::string("n\0w", 3), contentOf(path));
    EXPECT_EQ(S_IFREG | 0605u, modeOf(path));
    expectFiles({"file"});
}

TEST_F(FileTest, HasItsOldContentWhereTheNewOneFindsNoRoom) {
    const std::string path = given("file", "old");
    {
        const FullDisk full(2);
        EXPECT_EQ("File too large", cli::writeFile(path, "new content"));
        EXPECT_EQ("File too large", cli::writeFile(mFolder + "/other", "new content"));
    }
    EXPECT_EQ("old", contentOf(path));
    expectFiles({"file"});
}

TEST_F(FileTest, IsReplacedThroughItsSymlinks) {
    given("file", "old");
    fs::create_symlink("file", mFolder + "/first");
    fs::create_symlink(mFolder + "/first", mFolder + "/second");
    EXPECT_EQ("", cli::writeFile(mFolder + "/second", "new"));
    EXPECT_EQ("new", contentOf(mFolder + "/file"));
    EXPECT_TRUE(fs::is_symlink(mFolder + "/first"));
    EXPECT_TRUE(fs::is_symlink(mFolder + "/second"));
    expectFiles({"file", "first", "second"});
}

TEST_F(FileTest, IsMadeWhereItsSymlinkLeads) {
    fs::create_symlink("file", mFolder + "/link");
    EXPECT_EQ("", cli::writeFile(mFolder + "/link", "new"));
    EXPECT_EQ("new", contentOf(mFolder + "/file"));
    EXPECT_TRUE(fs::is_symlink(mFolder + "/link"));
}

TEST_F(FileTest, IsAFifoBeforeAndAfter) {
    const std::string path = givenFifo();
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ("", cli::writeFile(path, "bytes"));
    char buffer[16];
    EXPECT_EQ(5, read(reader, buffer, sizeof(buffer)));
    close(reader);
    EXPECT_EQ(S_IFIFO | 0600u, modeOf(path));
}

TEST_F(FileTest, IsAFifoAlsoAfterItsReaderHasGone) {
    const std::string path = givenFifo();
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    // More than a FIFO holds: the write waits, until the child, the one reader left, ends.
    support::Process child([&](const auto&) {
        char byte;
        while (read(reader, &byte, 1) != 1) usleep(1000);
        return 0;
    });
    close(reader);
    EXPECT_EQ("Broken pipe", cli::writeFile(path, std::string(1 << 20, 'x')));
    EXPECT_EQ(0, child.wait());
    EXPECT_EQ(S_IFIFO | 0600u, modeOf(path));
}

TEST_F(FileTest, IsALinkToADeviceBeforeAndAfter) {
    const std::string path = mFolder + "/device";
    fs::create_symlink("/dev/full", path);
    EXPECT_EQ("No space left on device", cli::writeFile(path, "bytes"));
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_TRUE(fs::is_character_file(path));
    expectFiles({"device"});
}

TEST_F(FileTest, FollowsWhatWasPrintedWhereItIsStandardOutput) {
    const std::string path = given("file", "printed before, ");
    const int saved = dup(STDOUT_FILENO);
    const int output = open(path.c_str(), O_WRONLY | O_APPEND);
    dup2(output, STDOUT_FILENO);
    const std::string error = cli::writeFile("/dev/stdout", "bytes");
    dup2(saved, STDOUT_FILENO);
    EXPECT_EQ("", error);
    EXPECT_EQ("printed before, bytes", contentOf(path));
    close(saved);
    close(output);
}

TEST_F(FileTest, CannotBeWrittenWhereThereIsNoFolderOrWhatIsThereIsOne) {
    EXPECT_EQ("No such file or directory", cli::writeFile(mFolder + "/nowhere/file", "bytes"));
    EXPECT_EQ("Is a directory", cli::writeFile(mFolder, "bytes"));
    EXPECT_EQ("No such file or directory", cli::writeFile("", "bytes"));
    expectFiles({});
}

TEST_F(FileTest, StaysWhereItsOwnerForbidsToWriteIt) {
    const std::string path = given("file", "old");
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    ASSERT_EQ(0, chmod(mFolder.c_str(), 0777));
    support::Process child([&](const auto&) {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return 2;
        return cli::writeFile(path, "new") == "Permission denied" ? 0 : 1;
    });
    EXPECT_EQ(0, child.wait());
    EXPECT_EQ("old", contentOf(path));
}

}  // namespace
