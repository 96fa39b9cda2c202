// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Files that the reader refuses as a whole, and what it says.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "emulator/play/Document.h"
#include "tests/play/Written.h"

namespace play {
namespace {

constexpr char kQuotes[] =
        "; a text that holds \": \" or \" #\", or begins with a sign, needs quotes";

std::string repeat(const std::string& text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) all += text;
    return all;
}

// What is wrong with the path, without the path.
std::string errorOfPath(const std::filesystem::path& path) {
    try {
        read(path);
        return "";
    } catch (const Wrong& wrong) {
        const std::string what = wrong.what();
        EXPECT_TRUE(what.starts_with(path.string())) << what;
        return what.substr(path.string().size());
    }
}

TEST(BadFileTest, MustBeAFile) {
    const Folder folder;
    EXPECT_EQ(": cannot be read: No such file or directory", errorOfPath(folder.path() / "none"));
    EXPECT_EQ(": is a folder: name the files in it", errorOfPath(folder.path()));
    EXPECT_EQ(": is no file", errorOfPath("/dev/null"));
    const auto fifo = folder.path() / "fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    EXPECT_EQ(": is no file", errorOfPath(fifo));
}

TEST(BadFileTest, MustBeReadable) {
    EXPECT_EQ(": cannot be read: Input/output error", errorOfPath("/proc/self/mem"));
    // Root reads any other file.
    if (geteuid() == 0) return;
    const Folder folder;
    const auto file = folder.write("s.yaml", withSteps("  - pause: 1s\n"));
    ASSERT_EQ(0, chmod(file.c_str(), 0));
    EXPECT_EQ(": cannot be read: Permission denied", errorOfPath(file));
}

TEST(BadFileTest, AGigabyteIsNotRead) {
    const Folder folder;
    const auto file = folder.write("s.yaml", "");
    std::filesystem::resize_file(file, 1 << 30);
    EXPECT_EQ(": is longer than 1 MiB", errorOfPath(file));
    std::filesystem::resize_file(file, kMostBytes + 1);
    EXPECT_EQ(": is longer than 1 MiB", errorOfPath(file));
}

TEST(BadFileTest, AFileMayHaveAMebibyte) {
    std::string bytes = withSteps("  - pause: 1s\n");
    bytes += "#" + std::string(kMostBytes - bytes.size() - 1, 'x');
    EXPECT_EQ("", errorOf(bytes));
}

TEST(BadFileTest, MustBeText) {
    EXPECT_EQ("s.yaml:2:1: this line is not UTF-8", errorOf("scenario: a\nabout: \xe4\n"));
    EXPECT_EQ("s.yaml:1:1: this line is not UTF-8", errorOf("\xff\xfe"
                                                            "a"));
    EXPECT_EQ("s.yaml:1:2: a control byte: between double quotes it is written \\x00",
              errorOf(std::string("a\0b", 3)));
    // The library would take it for the end.
    EXPECT_EQ("s.yaml:2:1: a control byte: between double quotes it is written \\x04",
              errorOf("scenario: a\n\x04"));
}

TEST(BadFileTest, LinesMayEndAsOnOtherSystems) {
    EXPECT_EQ("", errorOf("\xef\xbb\xbfscenario: a\r\nabout: b\r\nsteps:\r\n- pause: 1s\r\n"));
}

TEST(BadFileTest, MustBeYaml) {
    EXPECT_EQ(std::string("s.yaml:1:5: this is no YAML (illegal map value)") + kQuotes,
              errorOf("a: b: c\n"));
    EXPECT_EQ(std::string("s.yaml:4:12: this is no YAML (unknown escape character: q)") + kQuotes,
              errorOfSteps("  - do: \"\\q\"\n"));
    EXPECT_EQ(std::string("s.yaml:4:18: this is no YAML (unknown token)") + kQuotes,
              errorOfSteps("  - expect: {at: %SWV}\n"));
    EXPECT_EQ(std::string("s.yaml:1:1: this is no YAML (YAML major version too large)") + kQuotes,
              errorOf("%YAML 3.0\n---\na: b\n"));
}

TEST(BadFileTest, MustHoldOneScenario) {
    constexpr char kEmpty[] = "s.yaml: is empty: a scenario begins with \"scenario: NAME\"";
    EXPECT_EQ(kEmpty, errorOf(""));
    EXPECT_EQ(kEmpty, errorOf("# nothing\n"));
    EXPECT_EQ(kEmpty, errorOf("---\n"));
    EXPECT_EQ("s.yaml:1:1: a scenario begins with \"scenario: NAME\"", errorOf("- a\n"));
    const std::string one = withSteps("  - pause: 1s\n");
    EXPECT_EQ("", errorOf("---\n" + one + "...\n"));
    EXPECT_EQ("s.yaml:5:1: a second scenario begins here: give each scenario a file of its own",
              errorOf(one + "---\n" + one));
}

TEST(BadFileTest, MustNotGrowWhenItIsRead) {
    EXPECT_EQ("s.yaml:1:4: anchors are not taken: put \"&a\" into quotes if it is a text",
              errorOf("a: &a [x, x]\nb: [*a, *a]\n"));
    EXPECT_EQ(
            "s.yaml:4:10: tags are not taken: put what begins with \"!\" into quotes if it is a "
            "text",
            errorOf("scenario: a\nabout: b\nsteps:\n- pause: !!str 1s\n"));
}

TEST(BadFileTest, MustNotBeDeep) {
    EXPECT_EQ("s.yaml:1:20: more than 20 lists and maps lie in each other",
              errorOf(std::string(1'000'000, '{')));
    EXPECT_EQ("s.yaml:1:41: more than 20 lists and maps lie in each other",
              errorOf(repeat("- ", 500'000)));
}

TEST(BadFileTest, AWordStandsOnce) {
    EXPECT_EQ("s.yaml:5:5: \"pause\" stands here twice: leave one out",
              errorOfSteps("  - pause: 1s\n    pause: 2s\n"));
    EXPECT_EQ("s.yaml:2:1: \"scenario\" stands here twice: leave one out",
              errorOf("scenario: a\nscenario: a\n"));
    EXPECT_EQ("s.yaml:1:3: the word before \":\" must be a text", errorOf("? [a]\n: b\n"));
}

TEST(BadFileTest, IsBounded) {
    std::string keys;
    for (int i = 0; i < 1001; ++i) keys += "k" + std::to_string(i) + ": 1\n";
    EXPECT_EQ("s.yaml:1001:1: a map has at most 1000 names", errorOf(keys));
    EXPECT_EQ("s.yaml:10004:5: a scenario has at most 10000 steps",
              errorOfSteps(repeat("  - pause: 1s\n", 10'001)));
    EXPECT_EQ("", errorOfSteps(repeat("  - pause: 1s\n", 10'000)));
    // Each word is a step.
    EXPECT_EQ("s.yaml:4:9: a scenario has at most 10000 steps",
              errorOfSteps("  - do: gesture" + repeat(" WAKEUP", 10'001) + "\n"));
    EXPECT_EQ("", errorOfSteps("  - do: gesture" + repeat(" WAKEUP", 10'000) + "\n"));
}

}  // namespace
}  // namespace play
