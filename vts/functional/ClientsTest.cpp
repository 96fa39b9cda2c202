// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Several clients at once: each gets its own answers.
#include "BivistaTest.h"

#include <thread>

namespace bivista_vts {
namespace {

constexpr int kClients = 4;
constexpr int kCalls = 20;

void runClients(const std::function<void()>& client) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kClients; ++i) threads.emplace_back(client);
    for (std::thread& thread : threads) thread.join();
}

class ClientsTest : public BivistaTest {};
class CoverClientsTest : public CoverTest {};

TEST_P(ClientsTest, GetTheirOwnAnswers) {
    const std::string file = query(&V1_0::IBivista::getFirmwareFile).text;
    runClients([&] {
        for (int i = 0; i < kCalls; ++i) {
            EXPECT_EQ(query(&V1_0::IBivista::getFirmwareFile).text, file);
            EXPECT_EQ(send("no command").status, Status::FAIL);
            EXPECT_EQ(statusOf(service->setBrightness(-1)), Status::OK);
        }
    });
}

TEST_P(CoverClientsTest, GetTheirOwnLines) {
    const sp<LineRecorder> alone = new LineRecorder;
    const TextResult expected = send("AT%SWV", alone);
    const std::vector<std::string> lines = alone->lines();
    runClients([&] {
        for (int i = 0; i < kCalls; ++i) {
            const sp<LineRecorder> own = new LineRecorder;
            const TextResult result = send("AT%SWV", own);
            EXPECT_EQ(result.status, Status::OK);
            EXPECT_EQ(result.text, expected.text);
            EXPECT_EQ(own->lines(), lines);
        }
    });
}

BIVISTA_PER_INSTANCE(ClientsTest);
BIVISTA_PER_INSTANCE(CoverClientsTest);

}  // namespace
}  // namespace bivista_vts
