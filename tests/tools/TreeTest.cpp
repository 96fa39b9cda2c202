// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/FileTree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace fs = std::filesystem;
using doctor::Tree;

namespace {

class TreeTest : public testing::Test {
  protected:
    TreeTest() {
        char name[] = "/tmp/bivistactl-XXXXXX";
        mFolder = mkdtemp(name);
    }
    ~TreeTest() override { fs::remove_all(mFolder); }

    // An empty one.
    void makeFile(const std::string& name) const { const std::ofstream file(mFolder + name); }

    std::string mFolder;
};

}  // namespace

TEST_F(TreeTest, TellsAFileWithoutWhiteSpaceAtItsEnd) {
    std::ofstream(mFolder + "/file") << " two\nlines \r\n\n";
    EXPECT_EQ(" two\nlines", Tree(mFolder).text("/file"));
    EXPECT_EQ(std::nullopt, Tree(mFolder).text("/none"));
    EXPECT_EQ(std::nullopt, Tree(mFolder).text("/"));
}

TEST_F(TreeTest, ListsNamesSortedAndWithoutHiddenOnes) {
    for (const char* name : {"b", "a", ".hidden"}) std::ofstream(mFolder + "/" + name);
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), Tree(mFolder).names("/"));
    EXPECT_TRUE(Tree(mFolder).names("/none").empty());
    EXPECT_TRUE(Tree(mFolder).names("/a").empty());
}

TEST_F(TreeTest, LinksStayWithinIt) {
    std::ofstream(mFolder + "/passwd") << "of the tree";
    fs::create_symlink("/passwd", mFolder + "/absolute");
    fs::create_symlink("../../../../../../passwd", mFolder + "/relative");
    fs::create_symlink("/etc/passwd", mFolder + "/outside");
    const Tree tree(mFolder);
    EXPECT_EQ("of the tree", tree.text("/absolute"));
    EXPECT_EQ("of the tree", tree.text("/relative"));
    EXPECT_EQ(std::nullopt, tree.text("/outside"));
    EXPECT_FALSE(tree.status("/outside"));
}

TEST_F(TreeTest, FindsAFileBehindTwoDotsWhileOthersAreRenamed) {
    fs::create_directories(mFolder + "/device/below");
    makeFile("/device/file");
    makeFile("/a");
    std::atomic<bool> over = false;
    std::thread renaming([&] {
        while (!over) {
            fs::rename(mFolder + "/a", mFolder + "/b");
            fs::rename(mFolder + "/b", mFolder + "/a");
        }
    });
    const Tree tree(mFolder);
    for (int i = 0; i < 20000; ++i) EXPECT_TRUE(tree.status("/device/below/../below/../file")) << i;
    over = true;
    renaming.join();
}

TEST_F(TreeTest, ARootThatIsNotThereHasNoFiles) {
    const Tree tree(mFolder + "/none");
    EXPECT_FALSE(tree.exists());
    EXPECT_FALSE(tree.status("/etc"));
    EXPECT_TRUE(tree.names("/").empty());
    EXPECT_FALSE(tree.mayUse("/", doctor::User()));
}

TEST_F(TreeTest, APipeDoesNotBlock) {
    ASSERT_EQ(0, mkfifo((mFolder + "/pipe").c_str(), 0600));
    EXPECT_EQ("", Tree(mFolder).text("/pipe"));
}

TEST_F(TreeTest, KnowsTheDescriptorsOfAProcess) {
    makeFile("/file");
    makeFile("/other");
    const int fd = open((mFolder + "/file").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    const std::string descriptor = "/proc/self/fd/" + std::to_string(fd);
    const Tree tree(mFolder);
    EXPECT_TRUE(Tree("/").isDescriptorOf(descriptor, *tree.status("/file")));
    EXPECT_FALSE(Tree("/").isDescriptorOf(descriptor, *tree.status("/other")));
    // Also when the file's name is gone.
    const struct stat file = *tree.status("/file");
    fs::remove(mFolder + "/file");
    EXPECT_TRUE(Tree("/").isDescriptorOf(descriptor, file));
    close(fd);
}

TEST_F(TreeTest, RightsOfTheCallerAreTheKernels) {
    makeFile("/file");
    const Tree tree(mFolder);
    EXPECT_TRUE(tree.mayUse("/file", doctor::User()));
    fs::permissions(mFolder + "/file", fs::perms::owner_read);
    EXPECT_EQ(geteuid() == 0, tree.mayUse("/file", doctor::User()));
    EXPECT_FALSE(tree.mayUse("/none", doctor::User()));
}
