// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The table of exit statuses, for every command that the program's help lists.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"
#include "tests/tools/picture/PngFile.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

using Words = std::vector<std::string>;

// Of a command's help: what begins the lines of a section.
Words listed(const std::string& help, const std::string& section) {
    Words names;
    std::string here;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(' ')) here = line;
        if (here != section || !line.starts_with("  ") || line[2] == ' ') continue;
        names.push_back(line.substr(2, line.find_first_of(" ,", 2) - 2));
    }
    return names;
}

Words with(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class EveryCommandTest : public CliTest {
  protected:
    EveryCommandTest() {
        std::ofstream(mPicture, std::ios::binary) << greyPng(1, 1, {0}).encode();
        walk({});
        mFull = open("/dev/full", O_WRONLY | O_CLOEXEC);
        EXPECT_GE(mFull, 0);
    }
    ~EveryCommandTest() override { close(mFull); }

    // Each command line that is right, with the arguments that it needs.
    std::vector<Words> mCommands;
    // Commands that need another one after them.
    std::vector<Words> mGroups;
    int mFull = -1;

  private:
    void walk(const Words& words) {
        const std::string help = run(with(words, {"--help"})).output;
        const Words below = listed(help, "Subcommands:");
        if (below.empty()) {
            mCommands.push_back(with(words, argumentsOf(words, listed(help, "Positionals:"))));
            return;
        }
        mGroups.push_back(words);
        for (const std::string& name : below) walk(with(words, {name}));
    }

    // Something right for each argument, by the name that the help gives it.
    Words argumentsOf(const Words& words, const Words& names) const {
        if (words == Words{"call"}) return {"getBV2Connect"};
        // What it explains in the place of this machine.
        if (words == Words{"doctor"}) return {};
        if (words == Words{"report"}) return {mFolder + "/report.tar.gz", "--force"};
        if (words == Words{"wait"}) return {"sub=ON", "--timeout", "0"};
        const std::map<std::string, std::string> samples = {
                {"STATE", "on"},
                {"LEVEL", "1"},
                {"N", "1"},
                {"MODE", "1"},
                {"A", "1"},
                {"B", "1"},
                {"C", "1"},
                {"D", "1"},
                {"TYPE", "1"},
                {"VALUE", "1"},
                {"PICTURE", mPicture},
                {"TEXT", "a"},
                {"CMD", "AT"},
        };
        Words arguments;
        for (const std::string& name : names) {
            EXPECT_TRUE(samples.contains(name)) << "what is right for " << name << "?";
            if (samples.contains(name)) arguments.push_back(samples.at(name));
        }
        return arguments;
    }

    const std::string mPicture = mFolder + "/picture.png";
};

// A session serves without a service, too, and prints nothing before it is asked.
bool isSession(const Words& words) {
    return words == Words{"session"};
}

bool endsByItself(const Words& words) {
    return words[0] != "watch" && words != Words{"sub", "watch"};
}

}  // namespace

TEST_F(EveryCommandTest, TheHelpHasTheTable) {
    EXPECT_LT(40u, mCommands.size());
    EXPECT_THAT(run({"--help"}).output,
                HasSubstr("\nExit status:\n"
                          "  0  done\n"
                          "  1  the service answered FAIL, its panel cannot be drawn on, or it has "
                          "no dump; an\n"
                          "     upgrade that was waited for did not end well; the time of a wait "
                          "was over; the doctor\n"
                          "     found a problem; another client took the callback of a watch\n"
                          "  2  wrong usage; the service did nothing\n"
                          "  3  no service answers, or it died during the call\n"
                          "  4  standard output cannot be written, or this program ran out of "
                          "memory,\n"
                          "     descriptors or threads\n\n"));
}

// The absence of the service is what the doctor is there to find, and what a report tells.
TEST_F(EveryCommandTest, WithoutAServiceItEndsWithThreeAndTheFolder) {
    for (const Words& words : mCommands) {
        if (isSession(words)) continue;
        const Result result = run(words);
        const int code = words[0] == "doctor" ? 1 : words[0] == "report" ? 0 : 3;
        EXPECT_EQ(code, result.code) << testing::PrintToString(words);
        EXPECT_THAT(result.output + result.errors, HasSubstr(mFolder + "/hidl"))
                << testing::PrintToString(words);
    }
}

TEST_F(EveryCommandTest, WrongUsageEndsWithTwo) {
    for (const Words& words : mCommands) {
        EXPECT_EQ(2, run(with({words[0]}, {"--brew"})).code) << words[0];
        // Of "call" it is an argument of the method.
        const Words more = words[0] == "call" ? Words{"x"} : Words{"--brew"};
        const Result result = run(with(words, more));
        EXPECT_EQ(2, result.code) << testing::PrintToString(words);
        EXPECT_EQ("", result.output);
        EXPECT_THAT(result.errors, HasSubstr(words[0] == "call" ? "0 arguments" : "--brew"));
    }
    for (const Words& words : mGroups) {
        const Result result = run(words);
        EXPECT_EQ(2, result.code) << testing::PrintToString(words);
        EXPECT_THAT(result.errors,
                    MatchesRegex("bivistactl: a command is missing after \"bivistactl"
                                 "[a-z ]*\": [^\n]*\"bivistactl[a-z ]* --help\""
                                 " tells more\\.\n"));
        EXPECT_EQ(2, run(with(words, {"brew"})).code) << testing::PrintToString(words);
    }
}

// What prints nothing is done all the same.
TEST_F(EveryCommandTest, OutputThatCannotBeWrittenEndsWithFour) {
    givenService({"--panel", "64x64", "--text-in", "debug", hex("{}")});
    for (const Words& words : mCommands) {
        if (isSession(words)) continue;
        for (const Words& options : {Words{}, Words{"--json"}}) {
            const Words line = with(words, options);
            bool prints = true;
            int code = 4;
            if (endsByItself(words)) {
                const Result result = run(line);
                prints = !result.output.empty();
                if (!prints) code = result.code;
            }
            EXPECT_TRUE(prints || options.empty()) << testing::PrintToString(line);
            const Result result = run(line, mFull);
            EXPECT_EQ(code, result.code) << testing::PrintToString(line);
            if (!prints) continue;
            EXPECT_THAT(result.errors, HasSubstr("cannot write to standard output"))
                    << testing::PrintToString(line);
        }
    }
}

TEST_F(EveryCommandTest, HelpThatCannotBeWrittenEndsWithFour) {
    for (const std::vector<Words>* all : {&mCommands, &mGroups}) {
        for (const Words& words : *all) {
            const Result result = run(with(words, {"--help"}), mFull);
            EXPECT_EQ(4, result.code) << testing::PrintToString(words);
            EXPECT_EQ("bivistactl: cannot write to standard output: No space left on device\n",
                      result.errors);
        }
    }
}
