// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Commands that clients pass to the cover.
#include "BivistaTest.h"

#include <algorithm>

namespace bivista_vts {
namespace {

// The service keeps this much of an answer.
constexpr size_t kCapacity = 1024;

// The result that belongs to the lines of an answer: without the last stored byte, which is the
// line feed of an answer that was kept whole.
std::string responseOf(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) all += line;
    return all.empty() ? all : all.substr(0, std::min(all.size(), kCapacity) - 1);
}

class AnyAtCommandTest : public BivistaTest {};
class AtCommandTest : public CoverTest {};

TEST_P(AnyAtCommandTest, IsRefusedWhenMalformed) {
    const std::string withNul("AT\0%SWV", 7);
    for (const std::string& cmd :
         {std::string(), std::string("A"), std::string("T"), std::string(" AT"), std::string("SWV"),
          std::string("TA"), std::string("XT%SWV"), std::string("\rAT"), std::string(2000, 'x'),
          withNul}) {
        const sp<LineRecorder> recorder = new LineRecorder;
        const TextResult result = send(cmd, recorder);
        EXPECT_EQ(result.status, Status::FAIL) << "'" << cmd << "'";
        EXPECT_EQ(result.text, "") << "'" << cmd << "'";
        EXPECT_TRUE(recorder->lines().empty()) << "'" << cmd << "'";
    }
}

TEST_P(AtCommandTest, IsTakenInAnyCase) {
    for (const char* cmd : {"AT", "at", "aT", "At"}) {
        const sp<LineRecorder> recorder = new LineRecorder;
        const TextResult result = send(cmd, recorder);
        EXPECT_EQ(result.status, Status::OK) << cmd;
        EXPECT_EQ(result.text, "") << cmd;
        EXPECT_TRUE(recorder->lines().empty()) << cmd;
    }
}

TEST_P(AtCommandTest, GivesEachLineOnceBeforeTheResult) {
    const sp<LineRecorder> recorder = new LineRecorder;
    std::vector<std::string> before;
    TextResult result;
    expectDone(service->sendAtCommand("AT%SWV", recorder,
                                      [&](Status status, const hidl_string& response) {
                                          before = recorder->lines();
                                          result = {status, response};
                                      }));
    EXPECT_EQ(result.status, Status::OK);
    EXPECT_NE(result.text, "") << "a cover has a version";
    EXPECT_EQ(result.text, responseOf(before));
    for (const std::string& line : before) {
        EXPECT_GT(line.size(), 1u);
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    }
    // Late lines arrive before the service gives the next answer.
    EXPECT_EQ(send("AT").status, Status::OK);
    EXPECT_EQ(recorder->lines(), before);
}

TEST_P(AtCommandTest, GivesEachLineOfALongAnswerAndCutsTheResult) {
    const sp<LineRecorder> recorder = new LineRecorder;
    const TextResult result = send("AT%TCHDEBUG=RAWDATA", recorder);
    size_t length = 0;
    for (const std::string& line : recorder->lines()) length += line.size();
    if (length <= kCapacity)
        GTEST_SKIP() << "the cover's longest answer has " << length << " bytes";
    EXPECT_EQ(result.status, Status::OK);
    EXPECT_EQ(result.text.size(), kCapacity - 1);
    EXPECT_EQ(result.text, responseOf(recorder->lines()));
}

TEST_P(AtCommandTest, NeedsNoCallback) {
    const sp<LineRecorder> earlier = new LineRecorder;
    const TextResult heard = send("AT%SWV", earlier);
    const std::vector<std::string> lines = earlier->lines();
    const TextResult unheard = send("AT%SWV");
    EXPECT_EQ(unheard.status, Status::OK);
    EXPECT_EQ(unheard.text, heard.text);
    EXPECT_EQ(earlier->lines(), lines) << "of a command that is not its own";
}

TEST_P(AtCommandTest, SpeaksToTheCallbackThatItBrings) {
    const sp<LineRecorder> first = new LineRecorder;
    const sp<LineRecorder> second = new LineRecorder;
    send("AT%SWV", first);
    const std::vector<std::string> lines = first->lines();
    send("AT%SWV", second);
    EXPECT_EQ(first->lines(), lines);
    EXPECT_EQ(second->lines(), lines);
    send("AT%SWV", first);
    EXPECT_EQ(first->lines().size(), 2 * lines.size());
}

TEST_P(AtCommandTest, ThatTheCoverRejectsIsAFailure) {
    EXPECT_EQ(send("AT%NO_SUCH_COMMAND").status, Status::FAIL);
    EXPECT_EQ(send("AT").status, Status::OK) << "the next one is not harmed";
}

BIVISTA_PER_INSTANCE(AnyAtCommandTest);
BIVISTA_PER_INSTANCE(AtCommandTest);

}  // namespace
}  // namespace bivista_vts
