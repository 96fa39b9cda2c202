// Touch diagnostics of realistic size, from the cover to where they end up.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;

constexpr char kResults[] = "/data/vendor/touch/touch_module_self_test.txt";

class TouchEndToEndTest : public ProgramsTest {
  protected:
    // The file of self-test results, as the emulator spells it, without the line end behind.
    std::string results() const {
        const Outcome outcome = run({bin("bivista-emulator"), "ctl", "node", kResults});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out.substr(0, outcome.out.size() - 1);
    }
    // In bytes: each line end is spelt with two characters.
    static size_t sizeOf(const std::string& spelt) { return spelt.size() - count(spelt, "\\n"); }
};

TEST_F(TouchEndToEndTest, ResultsOf40KilobytesAreKeptWholeAndCollected) {
    startPhone();
    ctl({"cover", "--self-test-report-bytes", "40960"});
    EXPECT_EQ(call({"getSelfTest"}).status, 0);
    EXPECT_EQ(call({"getTestResults"}).status, 0);
    const std::string once = results();
    // The last line end has become the text's end.
    EXPECT_EQ(sizeOf(once), 40959u);
    EXPECT_THAT(once, HasSubstr("\\nSD RESULT: PASS\\n"));
    EXPECT_EQ(call({"getTestResults"}).status, 0);
    EXPECT_EQ(results(), once + once);
}

TEST_F(TouchEndToEndTest, FramesGoToTheLogLineByLine) {
    startPhone();
    EXPECT_EQ(call({"DoRawdata"}).status, 0);
    EXPECT_EQ(count(log(), "DoRawdata: "), 24u);
    EXPECT_EQ(call({"DoDelta"}).status, 0);
    EXPECT_EQ(count(log(), "DoDelta: "), 24u);
}

// Meant: such a line has no room in the service, which ends rather than go on. The transport stores
// the pieces of a long line back to back.
TEST_F(TouchEndToEndTest, AFrameWithALineOfMoreThan1024CharactersEndsTheService) {
    for (const char* method : {"DoRawdata", "DoDelta"}) {
        startPhone();
        ctl({"cover", "--touch-columns", "205", "--touch-rows", "2"});
        EXPECT_EQ(call({method}).status, 3);
        EXPECT_EQ(phone->wait(), 128 + SIGABRT);
    }
}

TEST_F(TouchEndToEndTest, ResultsWithoutTheirFolderAreToldToAPerson) {
    startPhone();
    ctl({"fault", std::string("node ") + kResults + " missing"});
    const Outcome outcome = run({bin("bivistactl"), "touch", "results"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("FAIL"));
    EXPECT_THAT(log(), HasSubstr(std::string("Cannot open path: ") + kResults));
}

TEST_F(TouchEndToEndTest, AnUpgradeHoldsTheCallUntilItIsDone) {
    startPhone();
    awaitAttachDone();
    ctl({"cover", "--touch-upgrade-ms", "700"});
    const std::vector<JournalEntry> before = entries();
    EXPECT_EQ(call({"DoTouchFirmwareUpgrade"}).status, 0);
    std::vector<std::string> passed;
    const std::vector<JournalEntry> after = entries();
    for (size_t i = before.size(); i < after.size(); ++i) {
        if (after[i].kind == "tty-rx" || after[i].kind == "tty-tx") {
            passed.push_back(after[i].bytes);
        }
    }
    EXPECT_THAT(passed, testing::ElementsAre("AT%TCHNOTIFY=FW_UPGRADE\\r", "\\r\\nOK\\r\\n"));
    EXPECT_THAT(run({bin("bivista-emulator"), "ctl", "show"}).out,
                HasSubstr("  touch-upgrades: 1\n"));
}

}  // namespace
}  // namespace e2e
