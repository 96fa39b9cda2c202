// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl report, and doctor with such a file, against a service that misbehaves.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::ordered_json;
namespace fs = std::filesystem;

namespace {

class ReportCommandTest : public CliTest {
  protected:
    Result report(std::vector<std::string> words = {}) {
        words.insert(words.begin(), {"report", mFile});
        return run(words);
    }
    // What the report has not.
    static std::string missingOf(const Result& made) {
        std::string names;
        const Json told = Json::parse(made.output);
        for (const Json& each : told["missing"]) {
            names += each["name"].get<std::string>() + " ";
        }
        return names;
    }
    Result explain() { return run({"doctor", mFile}); }
    std::string content() const {
        std::stringstream text;
        text << std::ifstream(mFile).rdbuf();
        return text.str();
    }

    const std::string mFile = mFolder + "/report.tar.gz";
};

constexpr char kDump[] = R"({"service":{"version":"1.1.0"},"at":{"exchanges":9}})";

}  // namespace

TEST_F(ReportCommandTest, IsMadeWithoutAService) {
    const Result made = report({"--json"});
    EXPECT_EQ(0, made.code);
    EXPECT_THAT(missingOf(made), HasSubstr("dump.json events.json settings.prop"));
    EXPECT_THAT(made.errors, HasSubstr("without dump.json: the service could not be asked (no "
                                       "Bivista service answers in "));
    const Result told = explain();
    EXPECT_EQ(1, told.code);
    EXPECT_THAT(told.output, HasSubstr("problem  service: no service answers in "));
    EXPECT_THAT(told.output, HasSubstr("note     missing: events.json: "));
    EXPECT_THAT(told.output, HasSubstr("the report has no events.json: what happened is not"));
}

TEST_F(ReportCommandTest, IsMadeOfAServiceThatHangs) {
    const std::string fifo = mFolder + "/fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    givenService({"--hold-in", "debug", fifo});
    const Result made = report({"--json", "--patience-ms", "100"});
    EXPECT_EQ(0, made.code) << made.errors;
    EXPECT_THAT(made.errors, HasSubstr("without dump.json: the service does not answer"));
    EXPECT_THAT(explain().output, HasSubstr(", and does not answer\n"));
}

TEST_F(ReportCommandTest, IsMadeOfAnOlderService) {
    givenService({"--text-in", "debug", hex(kDump)});
    const Result made = report({"--json"});
    EXPECT_THAT(made.errors, HasSubstr("without events.json: the service is of an older version, "
                                       "and keeps no history\n"));
    EXPECT_THAT(explain().output, HasSubstr("; the service is 1.1.0\n"));
}

TEST_F(ReportCommandTest, OnlyItsOwnerMayReadIt) {
    ASSERT_EQ(0, report().code);
    struct stat status = {};
    ASSERT_EQ(0, stat(mFile.c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);
}

TEST_F(ReportCommandTest, ReplacesNothingUnlessTold) {
    std::ofstream(mFile) << "mine";
    const Result refused = report();
    EXPECT_EQ(2, refused.code);
    EXPECT_THAT(refused.errors, HasSubstr("is there already. Choose another name, or --force."));
    EXPECT_EQ("mine", content());
    EXPECT_EQ(0, report({"--force"}).code);
    EXPECT_NE("mine", content());
}

TEST_F(ReportCommandTest, AFullDiskLeavesNothingBehind) {
    const Result made = run({"report", "/dev/full", "--force"});
    EXPECT_EQ(4, made.code);
    EXPECT_THAT(made.errors, HasSubstr("cannot write /dev/full: No space left on device"));
    // A file that may have 1 KiB: there is the old one or none, and no part beside it.
    const std::string folder = mFolder + "/reports";
    fs::create_directory(folder);
    const support::Outcome outcome =
            Process({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\" 2>/dev/null", "sh",
                     BIVISTACTL, "report", folder + "/a"})
                    .outcome();
    EXPECT_EQ(4, outcome.status);
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(ReportCommandTest, IsNotForATerminal) {
    const Result made = runOnTerminal({"report", "-"});
    EXPECT_EQ(2, made.code);
    EXPECT_THAT(made.errors, HasSubstr("not for a terminal"));
    expectWrongUsage({{"report", "-", "--json"}, "standard output has the report itself"});
}

TEST_F(ReportCommandTest, GoesThroughAPipe) {
    givenService({"--text-in", "debug", hex(kDump)});
    const support::Outcome outcome =
            Process({"/bin/sh", "-c", R"("$1" report - 2>/dev/null | "$1" doctor -)", "sh",
                     BIVISTACTL})
                    .outcome();
    EXPECT_THAT(outcome.out, HasSubstr("ok       report: made "));
    EXPECT_THAT(outcome.out, HasSubstr("; the service is 1.1.0"));
}

TEST_F(ReportCommandTest, WhatIsNoReportIsOneError) {
    std::ofstream(mFile) << "no report\x1b[31m";
    const Result told = explain();
    EXPECT_EQ(2, told.code);
    EXPECT_EQ("", told.output);
    EXPECT_THAT(told.errors, testing::MatchesRegex("bivistactl: [^\n]* is no report that can be "
                                                   "read: [^\n]*\n"));
    EXPECT_EQ(2, run({"doctor", mFolder + "/none"}).code);
}

// Texts that only a client, a user or the cover can have written.
TEST_F(ReportCommandTest, ARedactedReportHasNoPersonalText) {
    const std::string dump =
            R"({"service":{"version":"1.1.0","build":"abc","owner":"PLANTED"},"PLANTED":"x",)"
            R"("lastFailure":{"command":"ATPLANTED","cause":"No such device"},"at":{"exchanges":9},)"
            R"("commands":[{"name":"ATDPLANTED","failures":1},{"name":"AT%SWV","failures":1}],)"
            R"("history":{"last":3,"lost":0},"events":[)"
            R"({"number":1,"kind":"refused","what":"PLANTED","cause":"No such device"},)"
            R"({"number":2,"kind":"failure","what":"AT%DB","cause":"Timer expired"},)"
            R"({"number":3,"kind":"failure","what":"drawSubDisplay","values":[7],"cause":"x"}]})";
    givenService({"--text-in", "debug", hex(dump)});
    const Result made = report({"--redact", "--json"});
    EXPECT_THAT(missingOf(made), HasSubstr("settings.prop"));
    const std::string plain = Process({"/bin/sh", "-c", "gzip -dc \"$0\"", mFile}).outcome().out;
    char host[256] = "";
    gethostname(host, sizeof(host) - 1);
    for (const std::string& planted :
         {std::string("PLANTED"), std::string(host), mFolder, std::string("fake_service")}) {
        EXPECT_THAT(plain, Not(HasSubstr("\"" + planted))) << planted;
    }
    EXPECT_THAT(plain, Not(HasSubstr("ATDPLANTED")));
    EXPECT_THAT(plain, HasSubstr(R"("name":"redacted")"));
    EXPECT_THAT(plain, HasSubstr(R"("what":"AT%DB")"));
    EXPECT_THAT(plain, HasSubstr(R"("what":"drawSubDisplay","values":[7])"));
    EXPECT_THAT(explain().output, HasSubstr("; without texts (--redact)\n"));
}
