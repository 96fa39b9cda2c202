// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A report's file: what is written is read again, and anything else is one clear error.
#include "tools/report/Archive.h"

#include <gmock/gmock.h>

#include "tests/tools/report/HostileTar.h"
#include "tools/report/Report.h"

namespace report {
namespace {

using testing::HasSubstr;

const std::string kManifestText = R"({"format":1})";
const HostileMember kGood = {"manifest.json", kManifestText};

std::string faultOf(const std::string& archive) {
    try {
        readReport(archive);
    } catch (const BadReport& fault) {
        return fault.what();
    }
    return "";
}

std::string faultOf(const std::vector<HostileMember>& members) {
    return faultOf(makeTar(members));
}

TEST(ArchiveTest, ReadsWhatItWrites) {
    const std::string all = std::string("\0\xff\n", 3) + std::string(100'000, 'x');
    const auto members = unpack(pack({{"dump.json", "{}"}, {"service.log", all}, {"empty", ""}}));
    ASSERT_EQ(3u, members.size());
    EXPECT_EQ("dump.json", members[0].name);
    EXPECT_EQ(all, members[1].bytes);
    EXPECT_EQ("", members[2].bytes);
}

TEST(ArchiveTest, TakesWhatTarMakesOfAFolder) {
    EXPECT_EQ("", faultOf({{"./", "", AE_IFDIR}, {"./manifest.json", kManifestText}}));
}

TEST(ArchiveTest, WithoutAnArchiveThereIsAReason) {
    EXPECT_EQ("it is empty", faultOf(std::string()));
    EXPECT_THAT(faultOf(std::string(2000, 'x')), HasSubstr("it is no archive"));
    EXPECT_THAT(faultOf(std::string(kMostArchive + 1, 'x')), HasSubstr("too large"));
}

// Wherever it is cut.
TEST(ArchiveTest, ACutOffReportIsAnError) {
    const std::string whole = pack({{"manifest.json", kManifestText}, {"dump.json", "{}"}});
    EXPECT_EQ("", faultOf(whole));
    for (size_t length = 1; length < whole.size(); ++length) {
        EXPECT_NE("", faultOf(whole.substr(0, length))) << length << " of " << whole.size();
    }
}

TEST(ArchiveTest, RefusesPathsThatLeadElsewhere) {
    for (const char* name : {"../manifest.json", "/manifest.json", "a/../../b", "./../x", ".hidden",
                             "a/b", "A", "caf\xc3\xa9", "\xff\xfe", "a\nb"}) {
        EXPECT_THAT(faultOf({kGood, {name, "x"}}), HasSubstr("a name that no report has")) << name;
    }
}

TEST(ArchiveTest, RefusesWhatIsNoPlainFile) {
    constexpr char kFault[] = "no plain file";
    EXPECT_THAT(faultOf({kGood, {"link", "", AE_IFLNK, "/etc/passwd"}}), HasSubstr(kFault));
    EXPECT_THAT(faultOf({kGood, {"link", "", 0, "manifest.json"}}), HasSubstr(kFault));
    EXPECT_THAT(faultOf({kGood, {"device", "", AE_IFCHR}}), HasSubstr(kFault));
    EXPECT_THAT(faultOf({kGood, {"pipe", "", AE_IFIFO}}), HasSubstr(kFault));
    EXPECT_THAT(faultOf({kGood, {"folder/", "", AE_IFDIR}}), HasSubstr(kFault));
}

TEST(ArchiveTest, RefusesTheSameMemberTwice) {
    EXPECT_EQ("it has the member manifest.json twice", faultOf({kGood, kGood}));
}

// Compressed they take some ten KiB.
TEST(ArchiveTest, RefusesMembersThatAreHuge) {
    EXPECT_THAT(faultOf({kGood, {"service.log", std::string(kMostMember + 1, '\0')}}),
                HasSubstr("too large"));
    const std::string most(kMostMember, '\0');
    EXPECT_THAT(faultOf({kGood, {"a", most}, {"b", most}, {"c", most}}), HasSubstr("too large"));
}

TEST(ArchiveTest, RefusesThousandsOfMembers) {
    std::vector<HostileMember> members = {kGood};
    while (members.size() < 3000) members.push_back({"m" + std::to_string(members.size()), ""});
    EXPECT_EQ("it has more than 64 members", faultOf(members));
}

TEST(ArchiveTest, AReportHasAManifest) {
    EXPECT_THAT(faultOf({{"dump.json", "{}"}}), HasSubstr("no manifest.json"));
    for (const char* text : {"x", "[]", "{}", R"({"format":0})", R"({"format":"1"})", "\xff{"}) {
        EXPECT_EQ("its manifest.json cannot be understood", faultOf({{"manifest.json", text}}));
    }
    EXPECT_EQ("its manifest.json cannot be understood",
              faultOf({{"manifest.json", std::string(500'000, '[')}}));
    EXPECT_EQ("its manifest.json is longer than 1 MiB",
              faultOf({{"manifest.json", std::string(2 << 20, ' ')}}));
}

TEST(ArchiveTest, ALaterFormatIsNamed) {
    EXPECT_EQ(
            "it is of a later version, format 2: read it with the bivistactl of version 9.1 or "
            "later",
            faultOf({{"manifest.json", R"({"format":2,"version":"9.1"})"}}));
}

TEST(ArchiveTest, MembersThatCannotBeUnderstoodAreUnknown) {
    for (const std::string& text : {std::string("\xff"), std::string(500'000, '[')}) {
        const Report report = readReport(makeTar(
                {kGood, {"dump.json", text}, {"events.json", text}, {"doctor.json", text}}));
        EXPECT_NE("", report.account.dump.fault());
        EXPECT_NE("", report.account.history.fault());
        EXPECT_FALSE(explain(report).empty());
    }
}

}  // namespace
}  // namespace report
