// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The scripts install what is missing, as root or through sudo, and print what they do. The tools
// that would do it are played by small scripts, the only ones in PATH.
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class InstallTest : public ProgramsTest {
  protected:
    InstallTest() {
        std::filesystem::create_directory(tools);
        for (const char* name : {"awk", "cat", "env", "grep", "mktemp", "rm", "tail"}) {
            std::filesystem::create_symlink(std::filesystem::path("/usr/bin") / name, tools / name);
        }
        // Everything but ninja-build is there.
        tool("dpkg-query", R"([ "$4" = ninja-build ] || echo "install ok installed")");
        tool("apt-get", "echo \"$*\" >>" + calls.string());
        tool("id", "echo 0");
    }

    void tool(const std::string& name, const std::string& body) const {
        std::ofstream(tools / name) << "#!/bin/bash\n" << body << "\n";
        std::filesystem::permissions(tools / name, std::filesystem::perms::owner_all);
    }

    Outcome install() const {
        return run({"/usr/bin/env", "-i", "PATH=" + tools.string(), "/bin/bash", "-c",
                    std::string("cd ") + BIVISTA_SOURCE_DIR +
                            " && set -euo pipefail && source scripts/common.sh && "
                            "install_packages build"});
    }

    std::string called() const {
        std::ifstream file(calls);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::filesystem::path tools = std::filesystem::path(folder) / "tools";
    const std::filesystem::path calls = std::filesystem::path(folder) / "calls";
};

constexpr char kInstall[] =
        "update -q\n"
        "install -q -y --no-install-recommends ninja-build\n";

TEST_F(InstallTest, TellsOnceOfAPackageThatIsThereForArmToo) {
    tool("dpkg-query", R"([ "$4" = libpng-dev ] || echo "install ok installed")");
    EXPECT_THAT(install().out, MatchesRegex("Installing Debian packages that are missing:\n"
                                            "  libpng-dev pictures [^\n]* snapshots of it\n"
                                            "installing\ninstalling: [0-9]+ s\n"));
}

TEST_F(InstallTest, TellsAndInstallsWhatIsMissing) {
    const Outcome outcome = install();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("Installing Debian packages that are missing:\n"));
    EXPECT_THAT(outcome.out, HasSubstr("ninja-build "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("cmake ")));
    EXPECT_EQ(called(), kInstall);
}

TEST_F(InstallTest, SaysNothingWhenNothingIsMissing) {
    tool("dpkg-query", R"(echo "install ok installed")");
    const Outcome outcome = install();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(called(), "");
}

TEST_F(InstallTest, AnOrdinaryUserInstallsThroughSudo) {
    tool("id", "echo 1000");
    tool("sudo", "echo sudo >>" + calls.string() + "; \"$@\"");
    EXPECT_EQ(install().status, 0);
    EXPECT_EQ(called(),
              "sudo\nupdate -q\nsudo\ninstall -q -y --no-install-recommends ninja-build\n");
}

TEST_F(InstallTest, AnOrdinaryUserWithoutSudoIsToldWhatRootWouldType) {
    tool("id", "echo 1000");
    const Outcome outcome = install();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "error: not root, and there is no sudo; as root, run: apt-get install ninja-build\n");
    EXPECT_EQ(called(), "");
}

TEST_F(InstallTest, AFailureShowsTheEndOfItsOutput) {
    tool("apt-get", "echo 'E: no such package'; exit 100");
    const Outcome outcome = install();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("E: no such package\n"));
    EXPECT_THAT(outcome.err, HasSubstr("error: apt-get could not install: ninja-build (whole "));
}

TEST_F(InstallTest, WithoutAptGetItTellsWhatIsNeeded) {
    std::filesystem::remove(tools / "apt-get");
    const Outcome outcome = install();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "error: this needs Debian's apt-get to install: ninja-build\n");
}

}  // namespace
}  // namespace e2e
