// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The file that stands for the system's trace. Each test is a process of its own, in which the
// first call decides.
#define ATRACE_TAG ATRACE_TAG_HAL
#include <cutils/trace.h>

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing::ElementsAre;

class TraceTest : public testing::Test {
  protected:
    TraceTest() {
        char name[] = "/tmp/bivista-trace-XXXXXX";
        mFile = std::string(mkdtemp(name)) + "/trace.json";
    }
    ~TraceTest() override {
        std::filesystem::remove_all(std::filesystem::path(mFile).parent_path());
    }
    void trace() { setenv("HOST_TRACE_FILE", mFile.c_str(), 1); }
    std::string text() const {
        std::ifstream file(mFile);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // As viewers read it: the list needs no end.
    json events() const {
        const std::string whole = text();
        EXPECT_EQ(whole.substr(whole.size() - 2), ",\n");
        return json::parse(whole.substr(0, whole.size() - 2) + "]");
    }

    std::string mFile;
};

// "B name" and "E" of all threads, and "M what name".
std::vector<std::string> spelt(const json& events) {
    std::vector<std::string> texts;
    for (const json& event : events) {
        std::string line = event["ph"];
        if (event.contains("name")) line += " " + event["name"].get<std::string>();
        if (event.contains("args")) line += " " + event["args"]["name"].get<std::string>();
        texts.push_back(line);
    }
    return texts;
}

TEST_F(TraceTest, IsOffWithoutTheVariable) {
    unsetenv("HOST_TRACE_FILE");
    EXPECT_EQ(ATRACE_ENABLED(), 0u);
    ATRACE_BEGIN("a");
    ATRACE_END();
    EXPECT_EQ(text(), "");
}

TEST_F(TraceTest, IsOffWithAnEmptyVariable) {
    setenv("HOST_TRACE_FILE", "", 1);
    EXPECT_EQ(ATRACE_ENABLED(), 0u);
}

TEST_F(TraceTest, IsOffAndSaysSoWhereTheFileCannotBeOpened) {
    setenv("HOST_TRACE_FILE", "/dev/null/x", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ATRACE_ENABLED(), 0u);
    EXPECT_EQ(ATRACE_ENABLED(), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "HOST_TRACE_FILE: cannot open /dev/null/x: Not a directory\n");
}

TEST_F(TraceTest, HasSlicesThatNest) {
    trace();
    ATRACE_INIT();
    EXPECT_NE(ATRACE_ENABLED(), 0u);
    ATRACE_BEGIN("outer");
    ATRACE_BEGIN("AT%SWV");
    ATRACE_END();
    ATRACE_END();
    EXPECT_THAT(spelt(events()),
                ElementsAre("M process_name host_trace_test", "M thread_name host_trace_test",
                            "B outer", "B AT%SWV", "E", "E"));
    int64_t last = 0;
    for (const json& event : events()) {
        EXPECT_EQ(event["pid"], getpid());
        EXPECT_EQ(event["tid"], gettid());
        if (event["ph"] == "M") continue;
        EXPECT_GE(event["ts"], last);
        last = event["ts"];
    }
    EXPECT_GT(last, 1'500'000'000'000'000) << "of the machine's clock";
}

TEST_F(TraceTest, SpellsNamesThatJsonDoesNotTake) {
    trace();
    ATRACE_BEGIN("AT%\"\\\n\x1B\xFF");
    EXPECT_EQ(events().back()["name"], "AT%?????");
}

TEST_F(TraceTest, GoesOnAfterWhatIsThere) {
    std::ofstream(mFile) << "[\n{\"ph\":\"E\"},\n";
    trace();
    ATRACE_BEGIN("a");
    EXPECT_THAT(spelt(events()), ElementsAre("E", "M process_name host_trace_test",
                                             "M thread_name host_trace_test", "B a"));
}

TEST_F(TraceTest, HasWholeLinesOfSeveralThreads) {
    trace();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 500; ++n) {
                ATRACE_BEGIN("slice");
                ATRACE_END();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(events().size(), 1 + 4 * (1 + 1000));
}

}  // namespace
