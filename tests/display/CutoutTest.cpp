// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover display's cutout: read once, then served from memory.
#include "display/Cutout.h"

#include <functional>

#include "tests/display/DisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCutout[] = "M 0,0 H -36 V 60 H 36 V 0 H 0 Z";

class CutoutTest : public DisplayTest {
  protected:
    struct Answer {
        Status status = Status::FAIL;
        std::string text;

        bool operator==(const Answer&) const = default;
    };
    Answer ask() {
        Answer answer;
        int results = 0;
        const Return<void> done =
                service->getCoverDisplayCutout([&](Status status, const hidl_string& text) {
                    answer = {status, text};
                    ++results;
                });
        EXPECT_TRUE(done.isOk());
        EXPECT_EQ(results, 1);
        return answer;
    }

    // As bringUp(), with a cover that refuses to send its cutout.
    void bringUpWithout() {
        phone.faults.set("on AT%GETBVCUTOUT error times 1");
        bringUp();
    }
};

TEST_F(CutoutTest, IsServedFromMemoryOnceFetched) {
    bringUp();
    powerOn();
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(CutoutTest, StaysThatOfTheFirstCover) {
    bringUp();
    detach();
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
    cover::Options other = phone.cover.options();
    other.cutout = "another";
    phone.cover.setOptions(other);
    attach();
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
}

TEST_F(CutoutTest, IsFetchedWhenAskedForAndThenKept) {
    bringUpWithout();
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
    EXPECT_THAT(lines(), ElementsAre(debugLine(std::string("getCoverDisplayCutout: ") + kCutout)));
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
    EXPECT_THAT(commands(), ElementsAre("AT%GETBVCUTOUT\r"));
}

TEST_F(CutoutTest, IsAnsweredWithFailWithoutACover) {
    start();
    log.waitFor("usbThread: creating");
    mark();
    EXPECT_EQ(ask(), (Answer{Status::FAIL, ""}));
    EXPECT_THAT(lines(), ElementsAre(errorLine("getCoverDisplayCutout: CUTOUT info: : ret:-1")));
}

// Meant: what a failed command left is delivered too, and stays until the next one.
TEST_F(CutoutTest, AFailureDeliversWhatCame) {
    bringUpWithout();
    phone.faults.set(R"(on AT%GETBVCUTOUT answer "\r\nM 0\r\nERROR\r\n" times 1)");
    EXPECT_EQ(ask(), (Answer{Status::FAIL, "M 0\n"}));
    EXPECT_THAT(lines(),
                ElementsAre(errorLine("getCoverDisplayCutout: CUTOUT info: M 0\n: ret:-1")));
    phone.faults.set("on AT%GETBVCUTOUT error times 1");
    EXPECT_EQ(ask(), (Answer{Status::FAIL, "M 0\n"}));
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout})) << "each call tries again";
}

TEST_F(CutoutTest, AnAnswerWithoutALineLeavesWhatIsThere) {
    bringUpWithout();
    phone.faults.set(R"(on AT%GETBVCUTOUT answer "\r\nM 0\r\nERROR\r\n" times 1)");
    ask();
    phone.faults.set(R"(on AT%GETBVCUTOUT answer "\r\nOK\r\n")");
    EXPECT_EQ(ask(), (Answer{Status::OK, "M 0\n"}));
}

// Meant: a hang-up counts as an answer.
TEST_F(CutoutTest, AHangUpIsKeptAsAnEmptyCutout) {
    bringUpWithout();
    phone.faults.set("on AT%GETBVCUTOUT hangup times 1");
    EXPECT_EQ(ask(), (Answer{Status::OK, ""}));
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "getCoverDisplayCutout: "));
    log.waitFor("serialLogEnable: 0");
    attach();
    EXPECT_EQ(ask(), (Answer{Status::OK, ""}));
}

TEST_F(CutoutTest, ALongOneIsCutToItsBuffer) {
    bringUpWithout();
    phone.faults.set("on AT%GETBVCUTOUT answer \"\\r\\n" + std::string(3000, 'M') +
                     "\\r\\nOK\\r\\n\" times 1");
    EXPECT_EQ(ask(), (Answer{Status::OK, std::string(1023, 'M')}));
}

// A failed command leaves no NUL in its buffer.
TEST_F(CutoutTest, ALongOneOfAFailedCommandIsCutToItsBufferToo) {
    bringUpWithout();
    phone.faults.set("on AT%GETBVCUTOUT answer \"\\r\\n" + std::string(3000, 'M') +
                     "\\r\\nERROR\\r\\n\" times 1");
    EXPECT_EQ(ask(), (Answer{Status::FAIL, std::string(1024, 'M')}));
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
}

// Two queries begin while nothing is known; the first one is answered, the second refused.
class TwoQueriesTest : public CutoutTest {
  protected:
    void askWith(const std::function<void()>& other) {
        bringUpWithout();
        phone.faults.set("on AT%GETBVCUTOUT error");
        phone.faults.set(R"(on AT%GETBVCUTOUT answer "\r\nM 1\r\nOK\r\n" times 1)");
        blockLink();
        std::thread client([this] { ask(); });
        const auto isQuery = [](const support::LogLine& line) {
            return line.text.ends_with("cmd:[AT%GETBVCUTOUT]");
        };
        const size_t asked = log.waitUntil(isQuery);
        std::thread otherClient(other);
        log.waitUntil(isQuery, asked);
        freeLink();
        client.join();
        otherClient.join();
        EXPECT_THAT(lines(),
                    testing::Contains(testing::Field(&support::LogLine::text,
                                                     testing::EndsWith("CUTOUT info: : ret:-1"))));
    }
};

TEST_F(TwoQueriesTest, OfTwoClientsKeepTheAnswer) {
    askWith([this] { ask(); });
    EXPECT_EQ(ask(), (Answer{Status::OK, "M 1"}));
}

TEST_F(TwoQueriesTest, OfAClientAndAnAttachKeepTheAnswer) {
    askWith([this] { service->bv2_display_init(service.get()); });
    EXPECT_EQ(ask(), (Answer{Status::OK, "M 1"}));
}

// A client may ask while the cover comes and goes.
TEST_F(CutoutTest, MayBeAskedForDuringAnAttach) {
    start();
    std::atomic<bool> done = false;
    std::thread client([&] {
        while (!done) {
            const Answer answer = ask();
            if (answer.status == Status::OK) {
                EXPECT_EQ(answer.text, kCutout);
            }
        }
    });
    attach();
    detach();
    attach();
    done = true;
    client.join();
    EXPECT_EQ(ask(), (Answer{Status::OK, kCutout}));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
