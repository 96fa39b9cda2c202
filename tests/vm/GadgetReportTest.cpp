// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Reports to and from the gadget's panel.
#include <gtest/gtest.h>

#include "tests/vm/UsbHost.h"

namespace gadget {
namespace {

using Kind = phone::HidRequest::Kind;

constexpr char kGetInfo[] = "a1 01 02 03 02 00";
constexpr char kSetConfig[] = "21 09 03 03 02 00";

// The only event is this report.
void expectReport(UsbHost& host, uint32_t id, Kind kind, size_t size, const std::string& bytes) {
    const std::vector<Event> events = host.events();
    ASSERT_EQ(events.size(), 1);
    const auto& report = std::get<Report>(events[0]);
    EXPECT_EQ(report.id, id);
    EXPECT_EQ(report.request.kind, kind);
    EXPECT_EQ(report.request.size, size);
    EXPECT_EQ(hexOf(report.request.bytes), hexOf(bytes));
    EXPECT_TRUE(host.answers().empty());
}

TEST(GadgetReportTest, AFeatureIsRead) {
    UsbHost host;
    const uint32_t id = host.ask(kGetInfo, 7);
    expectReport(host, id, Kind::GetFeature, 7, bytesOf("02"));
    const std::string info = bytesOf("02 80 00 80 00 04 01");
    host.device().complete(id, {.result = 7, .report = info});
    EXPECT_EQ(host.answers(), std::vector{fetched(id, info)});
}

TEST(GadgetReportTest, AFeatureMayBeShort) {
    UsbHost host;
    const uint32_t some = host.ask(kGetInfo, 7);
    const uint32_t none = host.ask(kGetInfo, 7);
    host.device().complete(some, {.result = 3, .report = bytesOf("02 80 00")});
    host.device().complete(none, {.result = 0, .report = ""});
    EXPECT_EQ(host.answers(), (std::vector{fetched(some, bytesOf("02 80 00")), fetched(none, "")}));
}

TEST(GadgetReportTest, AFeatureIsNeverLongerThanItsBuffer) {
    UsbHost host;
    const uint32_t id = host.ask(kGetInfo, 2);
    host.device().complete(id, {.result = 7, .report = bytesOf("02 80 00 80 00 04 01")});
    EXPECT_EQ(host.answers(), std::vector{fetched(id, bytesOf("02 80"))});
}

TEST(GadgetReportTest, AFeatureIsWritten) {
    UsbHost host;
    const uint32_t id = host.tell(kSetConfig, bytesOf("03 02 ff"));
    expectReport(host, id, Kind::SetFeature, 3, bytesOf("03 02 ff"));
    host.device().complete(id, {.result = 3});
    EXPECT_EQ(host.answers(), std::vector{done(id, 3)});
}

// The kernel takes the number 0 off a report, and counts it again in the result.
TEST(GadgetReportTest, ReportZeroHasItsNumberBack) {
    UsbHost host;
    const uint32_t set = host.tell("21 09 00 03 02 00", bytesOf("02 ff"));
    expectReport(host, set, Kind::SetFeature, 3, bytesOf("00 02 ff"));
    host.device().complete(set, {.result = 3});
    EXPECT_EQ(host.answers(), std::vector{done(set, 2)});

    const uint32_t get = host.ask("a1 01 00 03 02 00", 6);
    expectReport(host, get, Kind::GetFeature, 7, bytesOf("00"));
    host.device().complete(get, {.result = 3, .report = bytesOf("00 80 81")});
    EXPECT_EQ(host.answers(), std::vector{fetched(get, bytesOf("80 81"))});

    const uint32_t none = host.ask("a1 01 00 03 02 00", 6);
    host.device().complete(none, {.result = 0, .report = ""});
    EXPECT_EQ(host.answers(), std::vector{fetched(none, "")});
}

TEST(GadgetReportTest, PixelsAreWritten) {
    UsbHost host;
    for (const size_t size : {size_t{7}, size_t{4096}, size_t{16384}}) {
        const std::string pixels(size, '\x02');
        const uint32_t id = host.write(3, pixels);
        expectReport(host, id, Kind::Write, size, pixels);
        host.device().complete(id, {.result = static_cast<int64_t>(size)});
        EXPECT_EQ(host.answers(), std::vector{done(id, static_cast<uint32_t>(size))});
    }
    const uint32_t id = host.tell("21 09 02 02 02 00", bytesOf("02 00 00 00 00 00 00"));
    expectReport(host, id, Kind::Write, 7, bytesOf("02 00 00 00 00 00 00"));
}

TEST(GadgetReportTest, AWriteMayBeShort) {
    UsbHost host;
    const uint32_t pixels = host.write(3, std::string(4096, 'p'));
    const uint32_t config = host.tell(kSetConfig, bytesOf("03 02 ff"));
    host.device().complete(pixels, {.result = 100});
    host.device().complete(config, {.result = 0});
    EXPECT_EQ(host.answers(), (std::vector{done(pixels, 100), done(config, 0)}));
}

TEST(GadgetReportTest, AnErrorIsTheStatus) {
    UsbHost host;
    const uint32_t info = host.ask(kGetInfo, 7);
    const uint32_t config = host.tell(kSetConfig, bytesOf("03 02 ff"));
    const uint32_t pixels = host.write(3, "pixels");
    host.device().complete(info, {.result = -EPIPE, .report = "not sent"});
    host.device().complete(config, {.result = -EIO});
    host.device().complete(pixels, {.result = -ETIMEDOUT});
    EXPECT_EQ(host.answers(),
              (std::vector{failed(info, EPIPE), failed(config, EIO), failed(pixels, ETIMEDOUT)}));
}

TEST(GadgetReportTest, OnlyTheFirstAnswerCounts) {
    UsbHost host;
    const uint32_t info = host.ask(kGetInfo, 7);
    const uint32_t command = host.write(1, "AT\r");
    host.device().complete(info, {.result = 1, .report = "2"});
    host.device().complete(info, {.result = -EIO});
    host.device().complete(command);
    host.device().complete(command);
    host.device().complete(12345);
    EXPECT_EQ(host.answers(), (std::vector{fetched(info, "2"), done(command, 3)}));
}

TEST(GadgetReportTest, TransfersAreTakenBack) {
    UsbHost host;
    const uint32_t info = host.ask(kGetInfo, 7);
    const uint32_t config = host.tell(kSetConfig, bytesOf("03 02 ff"));
    const uint32_t pixels = host.write(3, "pixels");
    const uint32_t command = host.write(1, "AT\r");
    host.events();
    for (const uint32_t victim : {info, config, pixels, command}) {
        const uint32_t id = host.unlink(victim);
        EXPECT_EQ(host.answers(), std::vector{unlinked(id, ECONNRESET)});
        const std::vector<Event> events = host.events();
        ASSERT_EQ(events.size(), 1);
        EXPECT_EQ(std::get<TakenBack>(events[0]).id, victim);

        host.device().complete(victim, {.result = 1, .report = "2"});
        host.device().complete(victim);
        EXPECT_TRUE(host.answers().empty());
    }
}

TEST(GadgetReportTest, TransfersThatTheDeviceKnowsNothingOfAreTakenBackInSilence) {
    UsbHost host;
    for (const int endpoint : {1, 2, 3}) {
        const uint32_t victim = host.fetch(endpoint, 64);
        const uint32_t id = host.unlink(victim);
        EXPECT_EQ(host.answers(), std::vector{unlinked(id, ECONNRESET)});
    }
    EXPECT_TRUE(host.events().empty());
    host.device().send("x");
    EXPECT_TRUE(host.answers().empty());
    EXPECT_EQ(host.device().waiting(), 1);
}

TEST(GadgetReportTest, WhatIsDoneCannotBeTakenBack) {
    UsbHost host;
    host.device().send("x");
    const uint32_t fetch = host.fetch(1, 1);
    const uint32_t info = host.ask(kGetInfo, 7);
    host.device().complete(info, {.result = -EPIPE});
    host.answers();
    host.events();
    for (const uint32_t victim : {fetch, info, uint32_t{4711}}) {
        const uint32_t id = host.unlink(victim);
        EXPECT_EQ(host.answers(), std::vector{unlinked(id, 0)});
    }
    EXPECT_TRUE(host.events().empty());
}

}  // namespace
}  // namespace gadget
