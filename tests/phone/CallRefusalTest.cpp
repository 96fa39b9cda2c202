// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Recorded calls that failed, that are of other interfaces, and bytes that are no call.
#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>

#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaAtCallback.h>
#include <nlohmann/json.hpp>

#include "tests/phone/DecodedService.h"

namespace {

using namespace callstest;
using testing::ElementsAre;

using CallRefusalTest = DecodedServiceTest;

TEST_F(CallRefusalTest, AFailureIsNotedByItsName) {
    service->setBrightness(1).isOk();
    CallRecord failed = tap->record;
    for (const auto& [status, name] :
         std::map<int32_t, std::string>{{android::DEAD_OBJECT, "DEAD_OBJECT"},
                                        {android::FAILED_TRANSACTION, "FAILED_TRANSACTION"},
                                        {android::NO_MEMORY, "NO_MEMORY"},
                                        {-1234, "-1234 (Unknown error 1234)"}}) {
        failed.status = status;
        failed.reply.clear();
        EXPECT_THAT(texts(*calls::decode(failed)),
                    ElementsAre("IBivista.setBrightness", "[1]", name));
    }
    Parcel reply;
    writeToParcel(android::hardware::Status::fromExceptionCode(
                          android::hardware::Status::EX_NULL_POINTER),
                  &reply);
    failed.status = android::OK;
    failed.reply = reply.contents().words;
    EXPECT_EQ(calls::decode(failed)->note, "Status(EX_NULL_POINTER): ''");
}

TEST_F(CallRefusalTest, EveryMethodHasItsName) {
    Parcel parcel;
    parcel.writeInterfaceToken(IBivista::descriptor);
    std::set<std::string> names;
    for (uint32_t code = 1; code <= 38; ++code) {
        const auto call = calls::decode(
                {.code = code, .status = android::DEAD_OBJECT, .request = parcel.contents().words});
        ASSERT_TRUE(call);
        EXPECT_NE(call->path, "IBivista." + std::to_string(code));
        names.insert(call->path);
    }
    EXPECT_EQ(names.size(), 38u);
}

TEST_F(CallRefusalTest, AnUnknownCodeIsToldByItsNumber) {
    service->setBrightness(1).isOk();
    tap->record.code = 999;
    tap->record.status = android::UNKNOWN_TRANSACTION;
    EXPECT_THAT(decoded(), ElementsAre("IBivista.999", "", "UNKNOWN_TRANSACTION"));
}

TEST_F(CallRefusalTest, WhatCannotBeReadIsLeftOut) {
    service->sendAtCommand("AT", nullptr, kIgnore).isOk();
    tap->record.request.pop_back();
    tap->record.reply.pop_back();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.sendAtCommand", "", "unreadable"));
}

TEST_F(CallRefusalTest, OtherInterfacesAreNotTheCovers) {
    service->ping().isOk();
    EXPECT_FALSE(calls::decode(tap->record));
    service->interfaceChain(kIgnore).isOk();
    EXPECT_FALSE(calls::decode(tap->record));
    for (const char* token : {"", "vendor.qmx.hardware.accessory@1.1::IAccessory",
                              "vendor.qmx.hardware.bivista@1.0::IOther"}) {
        Parcel parcel;
        parcel.writeInterfaceToken(token);
        EXPECT_FALSE(calls::decode({.code = 1, .request = parcel.contents().words})) << token;
    }
    EXPECT_FALSE(calls::decode({}));
}

// A client that serves something of its own records the same calls.
TEST_F(CallRefusalTest, WhatAClientRecordsStandsOnce) {
    service->setBrightness(1).isOk();
    tap->record.isOutgoing = true;
    EXPECT_FALSE(calls::decode(tap->record));
    const sp<Tap> line =
            new Tap(android::hardware::toBinder(sp<IBivistaAtCallback>(new AtCallback)));
    sp<IBivistaAtCallback>(new V1_0::BpHwBivistaAtCallback(line))->onAtResponse("a line").isOk();
    EXPECT_FALSE(calls::decode(line->record));
}

TEST_F(CallRefusalTest, AnyBytesAreReadInBounds) {
    std::vector<CallRecord> good;
    const auto keep = [&] { good.push_back(tap->record); };
    service->sendAtCommand("AT%SWV", new AtCallback, kIgnore).isOk(), keep();
    service->drawSubDisplay({1, 2, 3}).isOk(), keep();
    service->setStatus({.type = 1, .value = 2}).isOk(), keep();
    service->getSubDisplayInfo(kIgnore).isOk(), keep();
    service->getBV2Status(kIgnore).isOk(), keep();
    service->getFirmwareVersion(kIgnore).isOk(), keep();
    std::mt19937_64 random(1);
    constexpr uint64_t kValues[] = {0, 1, 7, 8, UINT32_MAX, UINT64_MAX, 1ull << 63, 1ull << 31};
    size_t readable = 0;
    for (int round = 0; round < 50'000; ++round) {
        CallRecord record = good[random() % good.size()];
        for (int change = 0; change < 2; ++change) {
            auto& words = random() % 2 == 0 ? record.request : record.reply;
            if (words.empty()) continue;
            uint64_t& word = words[random() % words.size()];
            word = random() % 2 == 0 ? kValues[random() % std::size(kValues)]
                                     : word ^ (1ull << (random() % 64));
            if (random() % 8 == 0) words.resize(random() % words.size());
        }
        if (random() % 4 == 0) record.code = static_cast<uint32_t>(random() % 42);
        if (random() % 8 == 0) record.status = static_cast<int32_t>(random());
        if (random() % 100 == 0) record.status = INT32_MIN;
        const std::optional<phone::Past> past = calls::decode(record);
        if (!past || past->bytes.empty()) continue;
        ++readable;
        EXPECT_TRUE(nlohmann::json::accept(past->bytes)) << past->bytes;
        if (past->note.starts_with('[')) EXPECT_TRUE(nlohmann::json::accept(past->note));
    }
    // The changes leave enough to read.
    EXPECT_GT(readable, 1000u);
}

}  // namespace
