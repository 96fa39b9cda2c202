// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The man pages, against the programs' own help.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

class ManPageTest : public CliTest {
  protected:
    // The page as a terminal shows it, without letters that are struck twice.
    std::string format(const std::string& page) {
        const support::Outcome groff =
                Process({"groff", "-man", "-ww", "-Tascii", "-P-c", "-P-b", "-P-u", "-rLL=200n",
                         std::string(PAGES) + "/man/" + page})
                        .outcome();
        EXPECT_EQ(0, groff.status);
        EXPECT_EQ("", groff.err) << page;
        return groff.out;
    }

    // Says nothing of the page, which is long.
    static void expectIn(const std::string& page, const std::string& text) {
        EXPECT_NE(std::string::npos, page.find(text)) << text;
    }

    std::string helpOf(Words words) {
        words.emplace_back("--help");
        const support::Outcome outcome = Process(words).outcome();
        EXPECT_EQ(0, outcome.status);
        return outcome.out;
    }

    // Checks that the page has the usage and the options of each command below `words`.
    void expectCommands(const std::string& page, const Words& words) {
        std::string section;
        std::istringstream help(helpOf(words));
        for (std::string line; std::getline(help, line);) {
            if (!line.empty() && line[0] != ' ') section = line;
            const std::string name = line.substr(0, line.find_first_of(", ", 2));
            if (line.starts_with("Usage: ") && words.size() > 1) {
                expectIn(page, "\n   " + line.substr(line.find(' ', 7) + 1) + "\n");
            } else if (section == "Options:" && line.starts_with("  --")) {
                expectIn(page, "\n     " + name);
            } else if (section == "Subcommands:" && line.starts_with("  ") && name.size() > 2) {
                Words below = words;
                below.push_back(name.substr(2));
                expectCommands(page, below);
                ++mCommands;
            }
        }
    }

    size_t mCommands = 0;
};

}  // namespace

TEST_F(ManPageTest, HasEveryCommandOfTheClient) {
    expectCommands(format("man1/bivistactl.1"), {BIVISTACTL});
    EXPECT_LT(40u, mCommands);
}

TEST_F(ManPageTest, HasEveryCommandOfTheEmulator) {
    expectCommands(format("man1/bivista-emulator.1"), {EMULATOR});
    EXPECT_LT(30u, mCommands);
}

TEST_F(ManPageTest, HasTheUsualSections) {
    const std::string page = format("man1/bivistactl.1");
    EXPECT_THAT(page, HasSubstr("\nNAME\n       bivistactl - Controls the Bivista cover"));
    for (const char* section : {"SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "EXAMPLES", "OPTIONS",
                                "COMMANDS", "SEE ALSO"}) {
        EXPECT_THAT(page, HasSubstr("\n" + std::string(section) + "\n"));
    }
    EXPECT_THAT(page, HasSubstr("\n       3      no service answers"));
    EXPECT_THAT(page, HasSubstr("\n       bivistactl sub show --stretch photo.png\n"));
    EXPECT_THAT(page, HasSubstr("bivista-emulator(1), bivista-service(8), bivista-vts(1)"));
}

TEST_F(ManPageTest, KeepsBackslashesAndQuotes) {
    EXPECT_THAT(format("man1/bivistactl.1"), HasSubstr("become \\udcXX"));
    EXPECT_THAT(format("man1/bivistactl.1"), HasSubstr("{\"event\":\"sub\",\"state\":\"ON\""));
}

TEST_F(ManPageTest, TheServicesTellsItsEnvironment) {
    const std::string page = format("man8/bivista-service.8");
    for (const char* name : {"HIDL_SOCKET_DIR", "ANDROID_PROPERTY_FILE", "HOST_LOG_LEVEL"}) {
        EXPECT_THAT(page, HasSubstr("\n       " + std::string(name) + "\n"));
    }
}

TEST_F(ManPageTest, TheSuitesHasEveryOptionOfItsOwn) {
    const std::string page = format("man1/bivista-vts.1");
    const std::string help = helpOf({SUITE});
    const size_t own = help.find("\nOptions of this suite");
    ASSERT_NE(std::string::npos, own);
    size_t options = 0;
    std::istringstream lines(help.substr(own));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("  --")) continue;
        expectIn(page, "\n       " + line.substr(2, line.find(' ', 2) - 2) + "\n");
        ++options;
    }
    EXPECT_EQ(11u, options);
}
