// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The completions of both programs, in the shells themselves, against the programs' own help.
#include <gmock/gmock.h>
#include <stdlib.h>

#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace {

using Words = std::vector<std::string>;

// The output of a completion where names of files may stand.
constexpr char kFiles[] = "<files>";

struct Subject {
    const char* name;
    const char* shell;
    const char* program;
    const char* path;
    // Behind the folder of pages.
    const char* script;
    const char* driver;
};

void PrintTo(const Subject& subject, std::ostream* out) {
    *out << subject.name;
}

// Both take the words of a command line, of which the last is to be completed.
constexpr char kBash[] = R"(
source "$0"
compopt() { echo '<files>'; }
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_bivista
printf '%s\n' "${COMPREPLY[@]}"
)";
constexpr char kZsh[] = R"(
_describe() {
    local name=${@[-1]} each
    for each in "${(@P)name}"; do print -r -- "${each%%:*}"; done
}
_files() { print -r -- '<files>' }
words=("$@")
CURRENT=$#
source "$0"
)";

const Subject kSubjects[] = {
        {"bivistactlInBash", "bash", "bivistactl", BIVISTACTL,
         "/bash-completion/completions/bivistactl", kBash},
        {"bivistactlInZsh", "zsh", "bivistactl", BIVISTACTL, "/zsh/vendor-completions/_bivistactl",
         kZsh},
        {"emulatorInBash", "bash", "bivista-emulator", EMULATOR,
         "/bash-completion/completions/bivista-emulator", kBash},
        {"emulatorInZsh", "zsh", "bivista-emulator", EMULATOR,
         "/zsh/vendor-completions/_bivista-emulator", kZsh},
};

Words lines(const std::string& text) {
    Words all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) all.push_back(line);
    }
    return all;
}

class CompletionTest : public CliTest {
  protected:
    // Runs a program that must find nothing to complain about.
    std::string outputOf(const Words& command) {
        const support::Outcome outcome = Process(command).outcome();
        EXPECT_EQ(0, outcome.status) << testing::PrintToString(command);
        EXPECT_EQ("", outcome.err) << testing::PrintToString(command);
        return outcome.out;
    }

    // The last word is what is typed already of the one to complete.
    Words complete(const Subject& subject, const Words& words) {
        Words command = {"/usr/bin/env", subject.shell,  subject.driver == kBash ? "--norc" : "-f",
                         "-c",           subject.driver, std::string(PAGES) + subject.script,
                         subject.path};
        command.insert(command.end(), words.begin(), words.end());
        return lines(outputOf(command));
    }
    Words completeHere(const Words& words) { return complete(kSubjects[0], words); }
};

class EachCompletionTest : public CompletionTest, public testing::WithParamInterface<Subject> {
  protected:
    // The first words of the rows of a section of the help, such as "Options:".
    Words rows(Words words, const std::string& section) {
        words.insert(words.begin(), GetParam().path);
        words.push_back("--help");
        Words found;
        bool inside = false;
        for (const std::string& line : lines(outputOf(words))) {
            if (line[0] != ' ') inside = line == section;
            if (!inside || line.starts_with("   ") || !line.starts_with("  ")) continue;
            found.push_back(line.substr(2, line.find_first_of(", ", 2) - 2));
        }
        return found;
    }

    void expectAllBelow(const Words& place) {
        const Words commands = rows(place, "Subcommands:");
        Words words = place;
        words.emplace_back("");
        const Words offered = complete(GetParam(), words);
        EXPECT_THAT(offered, IsSupersetOf(commands)) << testing::PrintToString(place);
        for (const std::string& option : rows(place, "Options:")) {
            if (!option.starts_with("--")) continue;
            EXPECT_THAT(offered, Contains(option)) << testing::PrintToString(place);
        }
        for (const std::string& command : commands) {
            words.back() = command;
            expectAllBelow(words);
        }
        mCommands += commands.size();
    }

    size_t mCommands = 0;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Programs, EachCompletionTest, testing::ValuesIn(kSubjects),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(EachCompletionTest, OffersEveryCommandAndOptionOfTheHelp) {
    expectAllBelow({});
    EXPECT_LT(30u, mCommands);
}

TEST_F(CompletionTest, OffersWhatBeginsAsTyped) {
    EXPECT_THAT(completeHere({"fi"}), ElementsAre("firmware"));
    EXPECT_THAT(completeHere({"sub", "sh"}), ElementsAre("show"));
    EXPECT_THAT(completeHere({"sub", "show", "--s"}), Contains("--stretch"));
    EXPECT_THAT(completeHere({"brew"}), IsEmpty());
}

TEST_F(CompletionTest, OffersTheValuesOfAnArgument) {
    for (const Subject& subject : kSubjects) {
        const bool ofEmulator = subject.program == std::string("bivista-emulator");
        const Words words = ofEmulator ? Words{"ctl", "wakelock", ""} : Words{"power", ""};
        EXPECT_THAT(complete(subject, words), IsSupersetOf({"on", "off"})) << subject.name;
        EXPECT_THAT(complete(subject, words), Not(Contains(kFiles))) << subject.name;
    }
}

TEST_F(CompletionTest, OffersWhatStandsAfterAnEqualsSign) {
    // Bash takes such a word for three, and puts in what stands after the sign.
    EXPECT_THAT(complete(kSubjects[0], {"wait", "screen", "=", "of"}), ElementsAre("off"));
    EXPECT_THAT(complete(kSubjects[0], {"wait", "attached", "sub", "="}),
                ElementsAre("UNINITIALIZED", "INITIALIZED", "OFF", "ON"));
    for (const Subject& subject : {kSubjects[0], kSubjects[1]}) {
        EXPECT_THAT(complete(subject, {"wait", ""}),
                    IsSupersetOf({"attached", "screen=on", "firmware="}))
                << subject.name;
    }
}

TEST_F(CompletionTest, OffersTheMethodsOfTheInterface) {
    for (const Subject& subject : {kSubjects[0], kSubjects[1]}) {
        EXPECT_THAT(complete(subject, {"call", ""}),
                    IsSupersetOf({"getFirmwareVersion", "getBV2Connect", "set_touch_perf"}))
                << subject.name;
    }
}

TEST_F(CompletionTest, OffersFilesWhereOneIsTaken) {
    for (const Subject& subject : {kSubjects[0], kSubjects[1]}) {
        EXPECT_THAT(complete(subject, {"sub", "show", ""}), Contains(kFiles)) << subject.name;
        EXPECT_THAT(complete(subject, {"sub", "text", "--font", ""}), ElementsAre(kFiles))
                << subject.name;
        EXPECT_THAT(complete(subject, {"sub", "off", ""}), Not(Contains(kFiles))) << subject.name;
    }
    for (const Subject& subject : {kSubjects[2], kSubjects[3]}) {
        EXPECT_THAT(complete(subject, {"run", "--journal", ""}), ElementsAre(kFiles))
                << subject.name;
        EXPECT_THAT(complete(subject, {"run", "--", ""}), Contains(kFiles)) << subject.name;
    }
}

TEST_F(CompletionTest, OffersNothingForAValueThatItDoesNotKnow) {
    for (const Subject& subject : {kSubjects[0], kSubjects[1]}) {
        EXPECT_THAT(complete(subject, {"doctor", "--user", ""}), IsEmpty()) << subject.name;
    }
}

TEST_F(CompletionTest, KnowsOtherNamesOfACommand) {
    for (const Subject& subject : {kSubjects[0], kSubjects[1]}) {
        EXPECT_THAT(complete(subject, {"color", ""}), Contains("mode")) << subject.name;
    }
}
