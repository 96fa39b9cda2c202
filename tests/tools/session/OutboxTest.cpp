// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The session's output, with readers that are slow, absent or gone.
#include "tools/session/Outbox.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Process.h"

using session::kMostQueuedBytes;
using session::Outbox;
using support::Process;

namespace {

// In a process of its own: what ends the session ends it.
constexpr int kBySignal = 10;
constexpr int kByOutput = 20;

Outbox::Ends endsOfChild() {
    return {.bySignal = [] { _exit(kBySignal); },
            .byOutput = [](int error) { _exit(error == EPIPE ? kByOutput : kByOutput + 1); }};
}

class OutboxTest : public testing::Test {
  protected:
    OutboxTest() {
        int ends[2];
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        mReader = ends[0];
        mWriter = ends[1];
        signal(SIGPIPE, SIG_IGN);
    }
    ~OutboxTest() override {
        closeReader();
        close(mWriter);
    }

    void closeReader() {
        if (mReader >= 0) close(std::exchange(mReader, -1));
    }

    // A child that makes an outbox and waits, after `use` has used it.
    template <typename Use>
    std::unique_ptr<Process> child(const Use& use) {
        return std::make_unique<Process>([this, use](const Process::Ready& ready) -> int {
            closeReader();
            Outbox outbox(mWriter, endsOfChild());
            use(outbox);
            ready();
            while (true) pause();
        });
    }

    // The next lines of the output.
    std::vector<std::string> lines(size_t count) {
        std::vector<std::string> lines(1);
        for (char byte; lines.size() <= count && read(mReader, &byte, 1) == 1;) {
            if (byte == '\n') {
                lines.emplace_back();
            } else {
                lines.back() += byte;
            }
        }
        lines.pop_back();
        return lines;
    }

    int mReader = -1;
    int mWriter = -1;
};

using Lines = std::vector<std::string>;

}  // namespace

TEST_F(OutboxTest, WritesLinesInTheirOrderAndTheRestAtItsEnd) {
    Outbox outbox(mWriter, endsOfChild());
    outbox.tell("one");
    outbox.answer("two");
    outbox.finish();
    outbox.tell("late");
    EXPECT_EQ((Lines{"one", "two"}), lines(2));
}

TEST_F(OutboxTest, LinesOfSeveralThreadsStayWhole) {
    Outbox outbox(mWriter, endsOfChild());
    const std::string words[] = {std::string(9000, 'a'), std::string(9000, 'b')};
    std::vector<std::thread> threads;
    for (const std::string& word : words) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) outbox.answer(word);
        });
    }
    for (const std::string& line : lines(100)) EXPECT_TRUE(line == words[0] || line == words[1]);
    for (std::thread& thread : threads) thread.join();
}

// No thread of the service waits for this reader.
TEST_F(OutboxTest, ANotificationWithoutRoomIsDroppedAndCounted) {
    Outbox outbox(mWriter, endsOfChild());
    const std::string line(1 << 16, 'e');
    constexpr size_t kTold = 100;
    constexpr char kLost[] = R"({"jsonrpc":"2.0","method":"eventsLost","params":{"count":%zu}})";
    for (size_t i = 0; i < kTold; ++i) outbox.tell(line);
    outbox.answer("answer");
    // The writing thread may make room in between: then lines are lost in several places.
    size_t events = 0;
    size_t lost = 0;
    std::string text;
    for (text = lines(1)[0]; text != "answer"; text = lines(1)[0]) {
        size_t count = 0;
        if (text == line) {
            ++events;
        } else if (sscanf(text.c_str(), kLost, &count) == 1) {
            lost += count;
        } else {
            FAIL() << text.substr(0, 100);
        }
    }
    // What the queue holds, and what the writing thread had taken out of it.
    EXPECT_LE(kMostQueuedBytes / line.size(), events);
    EXPECT_LT(0u, lost);
    EXPECT_EQ(kTold, events + lost);
}

TEST_F(OutboxTest, AnAnswerWaitsForRoom) {
    Outbox outbox(mWriter, endsOfChild());
    std::atomic<int> answered = 0;
    std::thread answering([&] {
        for (int i = 0; i < 40; ++i, ++answered) outbox.answer(std::string(1 << 16, 'a'));
    });
    EXPECT_EQ(40u, lines(40).size());
    answering.join();
    EXPECT_EQ(40, answered);
}

TEST_F(OutboxTest, AnOutputThatDoesNotBlockIsWrittenWhole) {
    fcntl(mWriter, F_SETFL, O_NONBLOCK);
    Outbox outbox(mWriter, endsOfChild());
    const std::string line(1 << 18, 'a');
    outbox.answer(line);
    EXPECT_EQ(Lines{line}, lines(1));
}

TEST_F(OutboxTest, AReaderThatGoesAwayEndsItThoughNothingIsWritten) {
    auto process = child([](Outbox&) {});
    ASSERT_TRUE(process->waitUntilReady());
    close(std::exchange(mWriter, -1));
    closeReader();
    EXPECT_EQ(kByOutput, process->wait());
}

TEST_F(OutboxTest, AReaderThatGoesAwayEndsItInTheMiddleOfALine) {
    auto process = child([](Outbox& outbox) { outbox.answer(std::string(1 << 20, 'a')); });
    char byte;
    ASSERT_EQ(1, read(mReader, &byte, 1));
    closeReader();
    EXPECT_EQ(kByOutput, process->wait());
}

TEST_F(OutboxTest, ASignalEndsItAfterAllThatGoesOut) {
    auto process = child([](Outbox& outbox) {
        for (int i = 0; i < 100; ++i) outbox.tell("line");
        kill(getpid(), SIGTERM);
    });
    EXPECT_EQ(Lines(100, "line"), lines(100));
    EXPECT_EQ(kBySignal, process->wait());
}

TEST_F(OutboxTest, ASignalEndsItThoughNobodyReads) {
    auto process = child([](Outbox& outbox) { outbox.answer(std::string(1 << 20, 'a')); });
    ASSERT_TRUE(process->waitUntilReady());
    process->kill(SIGINT);
    EXPECT_EQ(kBySignal, process->wait());
}
