// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// sendAtCommand: the result, once on every path, and the callback.
#include <thread>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kVersion[] = "BV330-V10k_20210312";

// Records the lines it is called with.
struct LineRecorder : IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string& line) override {
        lines.push_back(line);
        return Void();
    }
    std::vector<std::string> lines;
};

// A callback whose process is gone.
struct DeadCallback : IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string& /*line*/) override {
        return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
    }
};

class AtCommandServiceTest : public ServiceTest {
  protected:
    void SetUp() override {
        start();
        attach();
    }
    struct Answer {
        Status status = Status::OK;
        std::string response;
        int results = 0;
    };
    Answer sendAt(const std::string& cmd, const sp<IBivistaAtCallback>& cb) {
        Answer answer;
        const Return<void> done =
                service->sendAtCommand(cmd, cb, [&](Status status, const hidl_string& response) {
                    answer.status = status;
                    answer.response = response;
                    ++answer.results;
                });
        EXPECT_TRUE(done.isOk());
        EXPECT_EQ(answer.results, 1) << "the result is delivered exactly once";
        return answer;
    }
    // To a cover that does not answer it before the port is closed: the test sends the answer.
    Answer sendUnanswered(const std::string& cmd, const sp<IBivistaAtCallback>& cb = nullptr) {
        phone.faults.set("on " + cmd + " silent times 1");
        return sendAt(cmd, cb);
    }
};

TEST_F(AtCommandServiceTest, AnswersWithoutCallback) {
    const Answer answer = sendAt("AT%SWV", nullptr);
    EXPECT_EQ(answer.status, Status::OK);
    EXPECT_EQ(answer.response, "BV330-V10k_20210312");
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "sendAtCommand: AT%SWV"));
}

TEST_F(AtCommandServiceTest, PassesEachLineToTheCallback) {
    phone.faults.set(R"(on AT%SWV answer "\r\none\r\ntwo\r\nOK\r\n")");
    const sp<LineRecorder> cb = new LineRecorder;
    const Answer answer = sendAt("AT%SWV", cb);
    EXPECT_EQ(answer.response, "one\ntwo");
    EXPECT_THAT(cb->lines, ElementsAre("one\n", "two\n"));
}

TEST_F(AtCommandServiceTest, AlwaysAppendsACarriageReturn) {
    const uint64_t from = journal.next();
    sendAt("AT%SWV\r", nullptr);
    EXPECT_EQ(journal.joined(Kind::TtyRx, from), "AT%SWV\r\r");
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "sendAtCommand: AT%SWV\r"));
}

TEST_F(AtCommandServiceTest, RefusesAnEmptyCommand) {
    const uint64_t from = journal.next();
    const Answer answer = sendAt("", nullptr);
    EXPECT_EQ(answer.status, Status::FAIL);
    EXPECT_EQ(answer.response, "");
    EXPECT_THAT(commands(from), IsEmpty());
}

// The command ends at its NUL, and so lacks the carriage return after it.
TEST_F(AtCommandServiceTest, RefusesACommandWithANul) {
    const uint64_t from = journal.next();
    const Answer answer = sendAt(std::string("AT%SWV\0AT", 9), nullptr);
    EXPECT_EQ(answer.status, Status::FAIL);
    EXPECT_EQ(answer.response, "");
    EXPECT_TRUE(log.contains(ANDROID_LOG_DEBUG, "sendAtCommand: AT%SWV"));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "serialAtCmd: Invalid argument"));
    EXPECT_THAT(commands(from), IsEmpty());
}

// A client in the same process may send its next command from the result of the last one.
TEST_F(AtCommandServiceTest, HoldsNoLockWhileItDeliversTheResult) {
    const sp<LineRecorder> cb = new LineRecorder;
    std::vector<std::string> responses;
    const auto send = [&](const sp<IBivistaAtCallback>& callback, const auto& next) {
        EXPECT_TRUE(service->sendAtCommand("AT%SWV", callback,
                                           [&](Status /*status*/, const hidl_string& response) {
                                               responses.push_back(response);
                                               next();
                                           })
                            .isOk());
    };
    send(cb, [&] { send(nullptr, [&] { send(cb, [] {}); }); });
    EXPECT_EQ(responses, std::vector<std::string>(3, "BV330-V10k_20210312"));
    EXPECT_EQ(cb->lines, std::vector<std::string>(2, "BV330-V10k_20210312\n"));
}

TEST_F(AtCommandServiceTest, FailsWhenTheCoverRejects) {
    const sp<LineRecorder> cb = new LineRecorder;
    EXPECT_EQ(sendAt("AT%NOSUCH", cb).status, Status::FAIL);
    EXPECT_EQ(sendAt("AT%NOSUCH", nullptr).status, Status::FAIL);
    EXPECT_THAT(cb->lines, IsEmpty());
}

TEST_F(AtCommandServiceTest, FailsWithoutACover) {
    detach();
    const sp<LineRecorder> cb = new LineRecorder;
    const Answer answer = sendAt("AT%SWV", cb);
    EXPECT_EQ(answer.status, Status::FAIL);
    EXPECT_EQ(answer.response, "");
    EXPECT_EQ(sendAt("AT%SWV", nullptr).status, Status::FAIL);
}

TEST_F(AtCommandServiceTest, FailsOnATimeOut) {
    phone.faults.set("on AT%SWV silent times 1");
    EXPECT_EQ(sendAt("AT%SWV", nullptr).status, Status::FAIL);
}

// Meant: a hang-up counts as success, with what was stored.
TEST_F(AtCommandServiceTest, TakesAHangUpForSuccess) {
    phone.faults.set("on AT%SWV hangup");
    EXPECT_EQ(sendAt("AT%SWV", nullptr).status, Status::OK);
}

TEST_F(AtCommandServiceTest, DeliversWhatWasStoredBeforeAFailure) {
    phone.faults.set(R"(on AT%SWV answer "\r\npartial\r\nERROR\r\n")");
    const Answer answer = sendAt("AT%SWV", nullptr);
    EXPECT_EQ(answer.status, Status::FAIL);
    EXPECT_EQ(answer.response, "partial\n");
}

// The buffer is full and its last byte is no NUL, since the command failed.
TEST_F(AtCommandServiceTest, StaysInsideItsBufferWhenALongAnswerFails) {
    phone.faults.set("on AT%SWV answer \"\\r\\n" + std::string(900, 'a') + "\\r\\n" +
                     std::string(900, 'b') + "\\r\\nERROR\\r\\n\"");
    const Answer answer = sendAt("AT%SWV", nullptr);
    EXPECT_EQ(answer.status, Status::FAIL);
    EXPECT_EQ(answer.response, std::string(900, 'a') + "\n" + std::string(123, 'b'));
}

// Meant: an `OK` ends a command wherever it stands, also one that was left over from before.
TEST_F(AtCommandServiceTest, AnExtraOkBeforeTheCloseShiftsNothing) {
    const std::string cutout = sendAt("AT%GETBVCUTOUT", nullptr).response;
    ASSERT_NE(cutout, "");
    phone.faults.set(R"(on AT%SWV after "OK" times 1)");
    log.clear();
    EXPECT_EQ(sendAt("AT%SWV", nullptr).response, kVersion);
    EXPECT_EQ(sendAt("AT%GETBVCUTOUT", nullptr).response, cutout);
    EXPECT_FALSE(log.contains("OK\n"));
}

// Each later command ends with the answer before, which comes while the port is closed.
TEST_F(AtCommandServiceTest, AnExtraOkAfterTheCloseShiftsEveryLaterAnswerUntilTheCoverIsReplugged) {
    phone.cover.send("OK\r\n");
    log.clear();
    const Answer empty = sendUnanswered("AT%NOSUCH");
    EXPECT_EQ(empty.status, Status::OK);
    EXPECT_EQ(empty.response, "");
    EXPECT_TRUE(log.contains(ANDROID_LOG_INFO, "OK\n"));
    phone.cover.send("\r\nERROR\r\n");
    EXPECT_EQ(sendUnanswered("AT%SWV").status, Status::FAIL) << "that of AT%NOSUCH";
    phone.cover.send("\r\n" + std::string(kVersion) + "\r\nOK\r\n");
    EXPECT_EQ(sendUnanswered("AT%GETBVCUTOUT").response, kVersion);
    phone.cover.send("\r\nthe cutout\r\nOK\r\n");
    phone.faults.clear();
    detach();
    attach();
    EXPECT_EQ(sendAt("AT%SWV", nullptr).response, kVersion);
}

// Meant: the cover takes it for two commands and answers both; the service waits for one answer.
TEST_F(AtCommandServiceTest, ACarriageReturnInsideACommandShiftsTheAnswersOfAllClients) {
    const uint64_t from = journal.next();
    phone.faults.set("on AT%GETBVCUTOUT silent");
    EXPECT_EQ(sendAt("AT%SWV\rAT%GETBVCUTOUT", nullptr).response, kVersion);
    EXPECT_EQ(journal.joined(Kind::TtyRx, from), "AT%SWV\rAT%GETBVCUTOUT\r");
    phone.cover.send("\r\nthe cutout\r\nOK\r\n");
    const sp<LineRecorder> other = new LineRecorder;
    EXPECT_EQ(sendUnanswered("AT%SWV", other).response, "the cutout");
    EXPECT_THAT(other->lines, ElementsAre("the cutout\n"));
}

TEST_F(AtCommandServiceTest, CutsALineAtItsNul) {
    phone.faults.set(R"(on AT%SWV answer "\r\nab\x00cd\r\nOK\r\n")");
    const sp<LineRecorder> cb = new LineRecorder;
    const Answer answer = sendAt("AT%SWV", cb);
    EXPECT_THAT(cb->lines, ElementsAre("ab"));
    EXPECT_EQ(answer.response, "ab");
}

TEST_F(AtCommandServiceTest, KeepsTheCallbackUntilAnotherComes) {
    sp<LineRecorder> first = new LineRecorder;
    const ::android::wp<LineRecorder> weak = first;
    sendAt("AT%SWV", first);
    first = nullptr;
    EXPECT_NE(weak.promote(), nullptr);
    sendAt("AT%SWV", nullptr);
    EXPECT_NE(weak.promote(), nullptr) << "a command without callback changes nothing";
    sendAt("AT%SWV", new LineRecorder);
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST_F(AtCommandServiceTest, CarriesOnWithACallbackThatDied) {
    const Answer answer = sendAt("AT%SWV", new DeadCallback);
    EXPECT_EQ(answer.status, Status::OK);
    EXPECT_EQ(answer.response, "BV330-V10k_20210312");
}

TEST_F(AtCommandServiceTest, CommandsWithAndWithoutCallbackDoNotMix) {
    const sp<LineRecorder> cb = new LineRecorder;
    std::thread other([&] {
        for (int i = 0; i < 50; ++i)
            EXPECT_EQ(sendAt("AT%GETBVCUTOUT", nullptr).status, Status::OK);
    });
    for (int i = 0; i < 50; ++i) EXPECT_EQ(sendAt("AT%SWV", cb).status, Status::OK);
    other.join();
    EXPECT_EQ(cb->lines, std::vector<std::string>(50, "BV330-V10k_20210312\n"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
