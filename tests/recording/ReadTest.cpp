// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Recordings in files, right ones and wrong ones.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "emulator/recording/Recording.h"

namespace recording {
namespace {

namespace fs = std::filesystem;

using namespace std::string_literals;
using namespace std::chrono_literals;
using phone::Entry;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kHeader[] =
        R"({"recording":2,"program":"bivista-emulator","source":"phone","start":{}})"
        "\n";
constexpr char kFirst[] = R"({"seq":1,"time_us":5,"kind":"tty-rx","path":"/dev/ttyACM0"})"
                          "\n";
constexpr char kSecond[] = R"({"seq":2,"time_us":7,"kind":"mark"})"
                           "\n";

class ReadTest : public testing::Test {
  protected:
    ~ReadTest() override { fs::remove_all(mFolder); }

    fs::path file(const std::string& content) const {
        fs::path file = mFolder / "r.jsonl";
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

    // What read() says of the content, without the folder.
    std::string refusal(const std::string& content) const { return refusalOf(file(content)); }

    std::string refusalOf(const fs::path& file) const {
        try {
            read(file);
        } catch (const Wrong& wrong) {
            const std::string text = wrong.what();
            return text.substr(mFolder.string().size() + 1);
        }
        return "accepted";
    }

    const fs::path mFolder = [] {
        char name[] = "/tmp/bivista-recording-XXXXXX";
        return fs::path(mkdtemp(name));
    }();
};

TEST_F(ReadTest, AJournalWithoutAHeaderIsVersionOne) {
    const Recording recording = read(fs::path(DATA_FOLDER) / "version1.jsonl");
    EXPECT_EQ(recording.header.version, 1);
    EXPECT_EQ(recording.header.source, "phone");
    EXPECT_THAT(recording.notes, IsEmpty());
    ASSERT_THAT(recording.entries, SizeIs(130));
    EXPECT_EQ(recording.entries.front().kind, Kind::Attach);
    EXPECT_EQ(recording.entries.front().note, "3e91:6a2f TQC330R BV33021030001");
    // The call of 153 ms stands at its begin, and not at its end.
    EXPECT_EQ(recording.entries[56].path, "IBivista.setPowerStatus");
    EXPECT_EQ(recording.entries[56].seq, 106);
    EXPECT_EQ(recording.entries[56].duration, 152958us);
}

TEST_F(ReadTest, WhatIsWrittenIsReadBack) {
    Recording recording;
    recording.header.program = "bivista-emulator 1.2";
    recording.header.source = "log";
    recording.header.lanes = {"tty", "call"};
    recording.header.properties = {{"persist.a", "1\n"}};
    recording.header.files = {{"/sys/x\xff", "Y\0Z"s}};
    recording.header.images = {{"BV3.dfu", 12}};
    recording.header.unknown = {"Calls of \"clients\"."};
    Entry entry;
    entry.seq = 9;
    entry.time = 3us;
    entry.kind = Kind::TtyRx;
    entry.path = "/dev/ttyACM0";
    entry.bytes = "AT\r\0\xff"s;
    recording.entries.push_back(entry);
    const fs::path file = mFolder / "w.jsonl";
    write(file, recording);

    const Recording again = read(file);
    EXPECT_EQ(again.header.version, 2);
    EXPECT_EQ(again.header.program, "bivista-emulator 1.2");
    EXPECT_EQ(again.header.source, "log");
    EXPECT_EQ(again.header.lanes, recording.header.lanes);
    EXPECT_EQ(again.header.properties, recording.header.properties);
    EXPECT_EQ(again.header.files, recording.header.files);
    EXPECT_EQ(again.header.images, recording.header.images);
    EXPECT_EQ(again.header.unknown, recording.header.unknown);
    ASSERT_THAT(again.entries, SizeIs(1));
    EXPECT_EQ(again.entries[0].seq, 1);
    EXPECT_EQ(again.entries[0].bytes, entry.bytes);
    EXPECT_THROW(write("/nowhere/r.jsonl", recording), std::system_error);
}

TEST_F(ReadTest, EntriesComeInTheOrderOfTheirBegin) {
    const Recording recording = read(file(kHeader + R"({"seq":1,"time_us":9,"kind":"mark"}
{"seq":2,"time_us":4,"kind":"client-call","path":"IBivista.a","duration_us":6}
)"s));
    ASSERT_THAT(recording.entries, SizeIs(2));
    EXPECT_EQ(recording.entries[0].seq, 2);
    EXPECT_EQ(recording.entries[1].seq, 1);
}

TEST_F(ReadTest, ACutOffLastLineIsLeftOutAndNoted) {
    for (const char* line : {R"({"seq":2,"time_us":7,"ki)", "{", "\xff"}) {
        const Recording recording = read(file(kHeader + std::string(kFirst) + line));
        EXPECT_THAT(recording.entries, SizeIs(1));
        EXPECT_THAT(recording.notes, ElementsAre((mFolder / "r.jsonl").string() +
                                                 ":3: the last line is cut off, and is left out"));
    }
    // Only its line end is missing.
    const std::string second = kSecond;
    const Recording whole =
            read(file(kHeader + std::string(kFirst) + second.substr(0, second.size() - 1)));
    EXPECT_THAT(whole.entries, SizeIs(2));
    EXPECT_THAT(whole.notes, IsEmpty());
    // Nothing is left of a file that has no more.
    EXPECT_EQ(refusal(R"({"recording":2,"prog)"), "r.jsonl:1: column 21: is no JSON");
}

TEST_F(ReadTest, EntriesOfUnknownKindsAreSkippedAndCounted) {
    const Recording recording = read(file(kHeader + R"({"seq":1,"time_us":1,"kind":"smell"}
{"seq":2,"time_us":2,"kind":"mark","bytes":"x"}
{"seq":3,"time_us":3,"kind":"taste"}
)"s));
    EXPECT_THAT(recording.entries, SizeIs(1));
    EXPECT_THAT(recording.notes,
                ElementsAre((mFolder / "r.jsonl").string() +
                            ":2: the kind \"smell\" is unknown (2 entries of unknown kinds are "
                            "left out)"));
}

TEST_F(ReadTest, NoFileIsReadThatIsNone) {
    EXPECT_EQ(refusalOf(mFolder / "absent"), "absent: No such file or directory");
    fs::create_directory(mFolder / "folder");
    EXPECT_EQ(refusalOf(mFolder / "folder"), "folder: is not a regular file");
    // One without a writer would never end.
    ASSERT_EQ(mkfifo((mFolder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(refusalOf(mFolder / "fifo"), "fifo: is not a regular file");
    EXPECT_EQ(refusal(""), "r.jsonl:1: the file is empty");
}

TEST_F(ReadTest, WhatIsNoTextIsRefused) {
    const std::string begin = kHeader;
    EXPECT_EQ(refusal(begin + "{\"seq\0\":1}\n"s),
              "r.jsonl:2: column 6: the byte \"\\x00\" is no text");
    EXPECT_EQ(refusal(begin + "{\"\xc3\xa4\":1}\n"),
              "r.jsonl:2: column 3: the byte \"\\xc3\" is no text");
    EXPECT_EQ(refusal("\x1f\x8b\x08\n"), "r.jsonl:1: column 1: the byte \"\\x1f\" is no text");
    EXPECT_EQ(refusal(begin + "\n"), "r.jsonl:2: column 1: is no JSON");
    EXPECT_EQ(refusal("hello\n"), "r.jsonl:1: column 1: is no JSON");
    EXPECT_EQ(refusal(begin + "{\"seq\":1e999}\n"), "r.jsonl:2: is no JSON: a number is too large");
}

TEST_F(ReadTest, AnotherJsonIsRefused) {
    EXPECT_EQ(refusal("[1]\n"), "r.jsonl:1: is no entry of a journal: it must be an object");
    EXPECT_EQ(refusal("{\"name\":\"x\"}\n"),
              "r.jsonl:1: is no entry of a journal: it has no \"seq\"");
    EXPECT_EQ(refusal("{\"seq\":1,\"kind\":\"mark\"}\n"),
              "r.jsonl:1: is no entry of a journal: it has no \"time_us\"");
    EXPECT_EQ(refusal("{\n"), "r.jsonl:1: column 2: is no JSON");
}

TEST_F(ReadTest, MixedFilesAreRefused) {
    const std::string begin = kHeader;
    EXPECT_EQ(refusal(begin + kFirst + kHeader),
              "r.jsonl:3: another recording begins here: the file is mixed");
    EXPECT_EQ(refusal(begin + kFirst + kFirst),
              "r.jsonl:3: entry 1 follows entry 1: the file is mixed");
    EXPECT_EQ(refusal(begin + kFirst + kSecond + kFirst),
              "r.jsonl:4: entry 1 follows entry 2: the file is mixed");
}

TEST_F(ReadTest, MissingEntriesAreRefused) {
    EXPECT_EQ(refusal(kHeader + ""s + kSecond),
              "r.jsonl:2: the first is entry 2: those before it are missing");
    EXPECT_EQ(refusal(kHeader + ""s + kFirst + R"({"seq":4,"time_us":7,"kind":"mark"})" + "\n"),
              "r.jsonl:3: entry 4 follows entry 1: those between are missing");
}

TEST_F(ReadTest, WrongMembersOfAnEntryAreRefused) {
    const auto with = [this](const std::string& members) {
        return refusal(kHeader + "{"s + members + "}\n");
    };
    const std::string time = R"("seq":1,"kind":"mark","time_us":)";
    EXPECT_EQ(with(time + "-1"),
              "r.jsonl:2: the entry's \"time_us\" must be microseconds, 0 or more");
    EXPECT_EQ(with(time + "\"1\""),
              "r.jsonl:2: the entry's \"time_us\" must be microseconds, 0 or more");
    EXPECT_EQ(with(time + "1.5"),
              "r.jsonl:2: the entry's \"time_us\" must be microseconds, 0 or more");
    EXPECT_EQ(with(time + "99999999999999"),
              "r.jsonl:2: the entry's \"time_us\" is longer than a year");
    EXPECT_EQ(with(time + R"(1,"duration_us":-1)"),
              "r.jsonl:2: the entry's \"duration_us\" must be microseconds, 0 or more");
    EXPECT_EQ(with(time + R"(1,"wall_us":-1)"),
              "r.jsonl:2: the entry's \"wall_us\" must be microseconds, 0 or more");
    EXPECT_EQ(with(time + R"(1,"bytes":"\\q")"),
              "r.jsonl:2: the entry's \"bytes\" has a backslash that spells no byte");
    EXPECT_EQ(with(time + R"(1,"note":7)"), "r.jsonl:2: the entry's \"note\" must be a text");
    EXPECT_EQ(with(R"("seq":0,"kind":"mark","time_us":1)"),
              "r.jsonl:2: the entry's \"seq\" must be 1 or more");
    EXPECT_EQ(with(R"("seq":-1,"kind":"mark","time_us":1)"),
              "r.jsonl:2: the entry's \"seq\" must be 1 or more");
    EXPECT_EQ(with(R"("seq":1,"kind":7,"time_us":1)"),
              "r.jsonl:2: the entry's \"kind\" must be a text");
}

TEST_F(ReadTest, TooMuchIsRefusedAtOnce) {
    // A gigabyte of nothing: it takes no room on the disk.
    fs::resize_file(file(kHeader), 1 << 30);
    EXPECT_EQ(refusalOf(mFolder / "r.jsonl"),
              "r.jsonl: has 1024 MiB, and a recording 512 MiB at most");
    EXPECT_EQ(refusal(kHeader + std::string(kLongestLine + 1, ' ')),
              "r.jsonl:2: the line is longer than 8 MiB");
    EXPECT_EQ(refusal(std::string(kLongestLine, '[') + "\n"),
              "r.jsonl:1: is no entry of a journal: it is nested too deeply");
    std::string members;
    while (members.size() < kLongestLine - 16) {
        members += ",\"" + std::to_string(members.size()) + "\":1";
    }
    members[0] = '{';
    EXPECT_EQ(refusal(members + "}\n"),
              "r.jsonl:1: is no entry of a journal: it has too many members");
    std::string attaches;
    for (size_t i = 1; i <= kMostAttaches + 1; ++i) {
        attaches += R"({"seq":)" + std::to_string(i) + R"(,"time_us":1,"kind":"attach"})" + "\n";
    }
    EXPECT_EQ(refusal(attaches), "r.jsonl:10001: more than 10000 devices are attached");
}

}  // namespace
}  // namespace recording
