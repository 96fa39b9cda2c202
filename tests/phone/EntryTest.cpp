// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An entry of the journal as JSON, and back.

#include "emulator/phone/Digest.h"
#include "emulator/phone/Entry.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include <nlohmann/json.hpp>

namespace {

using phone::Entry;
using phone::Kind;
using std::chrono::microseconds;

std::string everyByte() {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
    return bytes;
}

std::optional<Entry> read(const std::string& line) {
    return phone::fromJson(nlohmann::ordered_json::parse(line));
}

TEST(EntryTest, JsonBringsEveryByteBack) {
    const Entry entry = {.seq = 7,
                         .time = microseconds(12),
                         .wall = microseconds(1'700'000'000'123'456),
                         .kind = Kind::NodeWrite,
                         .path = "/sys/\xff",
                         .bytes = everyByte(),
                         .note = "a\nb",
                         .duration = microseconds(3)};
    const std::string line = toJson(entry);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const std::optional<Entry> back = read(line);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->seq, 7u);
    EXPECT_EQ(back->time, entry.time);
    EXPECT_EQ(back->wall, entry.wall);
    EXPECT_EQ(back->kind, Kind::NodeWrite);
    EXPECT_EQ(back->path, entry.path);
    EXPECT_EQ(back->bytes, everyByte());
    EXPECT_EQ(back->note, entry.note);
    EXPECT_EQ(back->duration, entry.duration);
}

TEST(EntryTest, JsonLeavesOutWhatIsEmpty) {
    EXPECT_EQ(toJson(Entry{.seq = 1, .kind = Kind::Fault}),
              R"({"seq":1,"time_us":0,"wall_us":0,"kind":"fault"})");
}

TEST(EntryTest, ReadsAnEntryWithoutWallClockAndWithAnUnknownMember) {
    const auto entry = read(R"({"seq":1,"time_us":5,"kind":"mark","bytes":"a","new":[]})");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->bytes, "a");
    EXPECT_EQ(entry->wall, microseconds(0));
}

TEST(EntryTest, RefusesWhatIsNoEntry) {
    for (const char* line : {
                 "[]",
                 "7",
                 R"({"time_us":0,"kind":"mark"})",
                 R"({"seq":"1","time_us":0,"kind":"mark"})",
                 R"({"seq":-1,"time_us":0,"kind":"mark"})",
                 R"({"seq":1,"kind":"mark"})",
                 R"({"seq":1,"time_us":-1,"kind":"mark"})",
                 R"({"seq":1,"time_us":18446744073709551615,"kind":"mark"})",
                 R"({"seq":1,"time_us":9223372036854776,"kind":"mark"})",
                 R"({"seq":1,"time_us":0,"kind":"unknown"})",
                 R"({"seq":1,"time_us":0,"kind":1})",
                 R"({"seq":1,"time_us":0,"kind":"mark","bytes":1})",
                 R"({"seq":1,"time_us":0,"kind":"mark","bytes":"\\x0"})",
                 R"({"seq":1,"time_us":0,"kind":"mark","wall_us":"now"})",
                 R"({"seq":1,"time_us":0,"kind":"mark","duration_us":1.5})",
         }) {
        EXPECT_FALSE(read(line)) << line;
    }
}

TEST(EntryTest, NamesOfKindsDifferAndLeadBack) {
    std::set<std::string_view> names;
    for (int kind = 0; kind <= static_cast<int>(Kind::Control); ++kind) {
        names.insert(name(static_cast<Kind>(kind)));
        EXPECT_EQ(phone::kindOf(name(static_cast<Kind>(kind))), static_cast<Kind>(kind));
    }
    EXPECT_EQ(names.size(), static_cast<size_t>(Kind::Control) + 1);
    EXPECT_EQ(names.count("unknown"), 0u);
}

// The digest is the check value of the CRC-32 of zlib and gzip.
TEST(DigestTest, StandsInThePlaceOfALongText) {
    EXPECT_EQ(phone::crc32Of("123456789"), "cbf43926");
    EXPECT_EQ(phone::crc32Of(""), "00000000");
    const std::string longest(phone::kLongestShown, 'x');
    EXPECT_EQ(phone::shorten(longest), longest);
    EXPECT_EQ(phone::shorten(longest + "x"),
              R"({"length":257,"crc32":")" + phone::crc32Of(longest + "x") + "\"}");
}

}  // namespace
