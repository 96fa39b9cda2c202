// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Recorded calls as entries of the journal: each type, failures, and bytes that are no call.
#include "emulator/phone/calls/CallDecoder.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>

#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaAtCallback.h>
#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaSubDisplayCallback.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivistaLpwgCallback.h>
#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "emulator/phone/Digest.h"
#include "host/hidl/RemoteObject.h"
#include "tests/host/hidl/FakeBivista.h"

namespace {

using namespace hidltest;
using android::hardware::IBinder;
using android::hardware::Parcel;
using android::hardware::calls::CallRecord;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

// Carries calls to an object of this process, as a transport would, and records them.
class Tap : public android::hardware::RemoteObject {
  public:
    explicit Tap(sp<IBinder> object) : mObject(std::move(object)) {}

    android::status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                               TransactCallback callback) override {
        record = {.code = code, .beginNs = 2'000, .endNs = 5'000, .request = data.contents().words};
        Parcel arrived;
        arrived.setContents({data.contents().words, data.contents().objects, {}});
        Parcel results;
        record.status = mObject->transact(code, arrived, &results, flags, [](Parcel&) {});
        record.reply = results.contents().words;
        reply->setContents({results.contents().words, results.contents().objects, {}});
        if (record.status == android::OK && callback != nullptr) callback(*reply);
        return record.status;
    }
    android::status_t linkToDeath(const sp<DeathRecipient>&) override { return android::OK; }
    android::status_t unlinkToDeath(const android::wp<DeathRecipient>&) override {
        return android::OK;
    }

    CallRecord record;

  private:
    const sp<IBinder> mObject;
};

class AtCallback : public IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string&) override { return Void(); }
};
class SubDisplayCallback : public IBivistaSubDisplayCallback {
    Return<void> onSubDisplayStateChanged(SubScreenState) override { return Void(); }
};
class Lpwg : public V1_1::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override { return Void(); }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus, int32_t) override { return Void(); }
};

class AnsweringService : public FakeBivista {
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override {
        cb(Status::OK, version);
        return Void();
    }
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override {
        cb(Status::OK, {.x = 128, .y = 65535, .format = 255});
        return Void();
    }
    Return<void> getBV2Status(getBV2Status_cb cb) override {
        cb(Status::FAIL, {.connected = true});
        return Void();
    }
    Return<void> getSubDisplayPowerState(getSubDisplayPowerState_cb cb) override {
        cb(Status::OK, static_cast<SubScreenState>(77));
        return Void();
    }

  public:
    std::string version = "BV330";
};

// path, bytes, note of the entry.
std::vector<std::string> texts(const phone::Past& past) {
    return {past.path, past.bytes, past.note};
}

class CallDecoderTest : public testing::Test {
  protected:
    std::vector<std::string> decoded() const { return texts(past()); }
    phone::Past past() const {
        const std::optional<phone::Past> past = calls::decode(tap->record);
        EXPECT_TRUE(past.has_value());
        return past.value_or(phone::Past{});
    }

    const sp<AnsweringService> served = new AnsweringService;
    const sp<Tap> tap = new Tap(android::hardware::toBinder(sp<IBivista>(served)));
    const sp<IBivista> service = new V1_1::BpHwBivista(tap);
};

constexpr auto kIgnore = [](const auto&...) {};

TEST_F(CallDecoderTest, Times) {
    service->goDload().isOk();
    EXPECT_EQ(past().kind, phone::Kind::ClientCall);
    EXPECT_EQ(past().begin.time_since_epoch(), std::chrono::microseconds(2));
    EXPECT_EQ(past().duration, std::chrono::microseconds(3));
}

TEST_F(CallDecoderTest, Numbers) {
    service->setBrightness(128).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setBrightness", "[128]", R"(["OK"])"));
    service->setBrightness(INT32_MIN).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setBrightness", "[-2147483648]", R"(["OK"])"));
    service->setRgbTune(0, 1, 255, UINT32_MAX).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setRgbTune", "[0,1,255,4294967295]", R"(["OK"])"));
}

TEST_F(CallDecoderTest, Booleans) {
    service->setPowerStatus(true, false).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setPowerStatus", "[true,false]", R"(["OK"])"));
    service->getBV2Connect().isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.getBV2Connect", "[]", "[true]"));
}

TEST_F(CallDecoderTest, EnumeratorsByNameElseByNumber) {
    service->setScreenMode(ScreenMode::MODE_1).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setScreenMode", R"(["MODE_1"])", R"(["OK"])"));
    service->setScreenMode(static_cast<ScreenMode>(-5)).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setScreenMode", "[-5]", R"(["OK"])"));
    service->getSubDisplayPowerState(kIgnore).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.getSubDisplayPowerState", "[]", R"(["OK",77])"));
}

TEST_F(CallDecoderTest, Structures) {
    service->setStatus({.type = 1, .value = -2}).isOk();
    EXPECT_THAT(decoded(),
                ElementsAre("IBivista.setStatus", R"([{"type":1,"value":-2}])", R"(["OK"])"));
    service->getSubDisplayInfo(kIgnore).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.getSubDisplayInfo", "[]",
                                       R"(["OK",{"x":128,"y":65535,"format":255}])"));
    service->getBV2Status(kIgnore).isOk();
    EXPECT_THAT(decoded(),
                ElementsAre("IBivista.getBV2Status", "[]", R"(["FAIL",{"connected":true}])"));
}

TEST_F(CallDecoderTest, StringsAndCallbacks) {
    service->sendAtCommand("AT%SWV", new AtCallback, kIgnore).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.sendAtCommand", R"(["AT%SWV","callback"])",
                                       R"(["OK","AT%SWV"])"));
    service->sendAtCommand("", nullptr, kIgnore).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.sendAtCommand", R"(["",null])", R"(["OK",""])"));
}

TEST_F(CallDecoderTest, StringsOfAnyBytesComeBack) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
    for (const std::string& text :
         {all.substr(0, 128), all.substr(128, 60), std::string("\xff\"\\x41")}) {
        service->sendAtCommand(text, nullptr, kIgnore).isOk();
        const phone::Past call = past();
        const auto whole = nlohmann::json::parse(call.wholeBytes);
        EXPECT_EQ(cover::unescape(whole.at(0).get<std::string>()), text);
    }
}

TEST_F(CallDecoderTest, AFrameIsDigestedInMemoryAndWholeInTheFile) {
    hidl_vec<uint32_t> frame(std::vector<uint32_t>(16 * 1024, 7));
    service->drawSubDisplay(frame).isOk();
    std::string text = "[7";
    for (size_t i = 1; i < frame.size(); ++i) text += ",7";
    text += "]";
    const phone::Past call = past();
    EXPECT_EQ(call.bytes, "[" + phone::shorten(text) + "]");
    EXPECT_THAT(call.bytes, StartsWith(R"([{"length":32769,"crc32":")"));
    EXPECT_EQ(call.wholeBytes, "[" + text + "]");
    service->drawSubDisplay({}).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.drawSubDisplay", "[[]]", R"(["OK"])"));
}

TEST_F(CallDecoderTest, EachLongResultIsDigestedAlone) {
    // With its quotes 256 bytes, and one more.
    served->version = std::string(254, 'v');
    service->getFirmwareVersion(kIgnore).isOk();
    EXPECT_EQ(past().note, "[\"OK\",\"" + served->version + "\"]");
    served->version += 'v';
    service->getFirmwareVersion(kIgnore).isOk();
    EXPECT_EQ(past().note, R"(["OK",)" + phone::shorten("\"" + served->version + "\"") + "]");
    EXPECT_THAT(past().note, StartsWith(R"(["OK",{"length":257,)"));
    EXPECT_EQ(past().wholeNote, "[\"OK\",\"" + served->version + "\"]");
}

TEST_F(CallDecoderTest, AMethodWithoutResultsHasNoNote) {
    service->setSubDisplayCallback(new SubDisplayCallback).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setSubDisplayCallback", R"(["callback"])", ""));
    service->setLpwgCallback(nullptr).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setLpwgCallback", "[null]", ""));
}

TEST_F(CallDecoderTest, MethodsOfVersion1_1) {
    service->setAesMode(2).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.setAesMode", "[2]", R"(["OK"])"));
    service->set_touch_perf(true).isOk();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.set_touch_perf", "[true]", R"(["OK"])"));
}

TEST_F(CallDecoderTest, Callbacks) {
    const sp<Tap> line =
            new Tap(android::hardware::toBinder(sp<IBivistaAtCallback>(new AtCallback)));
    V1_0::BpHwBivistaAtCallback(line).onAtResponse("a line\r\n").isOk();
    line->record.isOutgoing = true;
    EXPECT_EQ(calls::decode(line->record)->kind, phone::Kind::ClientCallback);
    EXPECT_THAT(texts(*calls::decode(line->record)),
                ElementsAre("IBivistaAtCallback.onAtResponse", R"(["a line\\r\\n"])", ""));

    const sp<Tap> state = new Tap(
            android::hardware::toBinder(sp<IBivistaSubDisplayCallback>(new SubDisplayCallback)));
    V1_0::BpHwBivistaSubDisplayCallback(state).onSubDisplayStateChanged(SubScreenState::ON).isOk();
    EXPECT_THAT(
            texts(*calls::decode(state->record)),
            ElementsAre("IBivistaSubDisplayCallback.onSubDisplayStateChanged", R"(["ON"])", ""));

    const sp<Tap> lpwg =
            new Tap(android::hardware::toBinder(sp<V1_1::IBivistaLpwgCallback>(new Lpwg)));
    V1_1::BpHwBivistaLpwgCallback callback(lpwg);
    callback.onLpwgEvent(V1_0::LpwgEventStatus::WAKEUP, 0).isOk();
    EXPECT_THAT(texts(*calls::decode(lpwg->record)),
                ElementsAre("IBivistaLpwgCallback.onLpwgEvent", R"(["WAKEUP",0])", ""));
    callback.onLpwgEvent_1_1(V1_1::LpwgEventStatus::SWITCH_AES_TO_1, -1).isOk();
    EXPECT_THAT(
            texts(*calls::decode(lpwg->record)),
            ElementsAre("IBivistaLpwgCallback.onLpwgEvent_1_1", R"(["SWITCH_AES_TO_1",-1])", ""));
    callback.onLpwgEvent_1_1(static_cast<V1_1::LpwgEventStatus>(-1), 1).isOk();
    EXPECT_THAT(texts(*calls::decode(lpwg->record)),
                ElementsAre("IBivistaLpwgCallback.onLpwgEvent_1_1", R"(["UNKNOWN",1])", ""));
}

TEST_F(CallDecoderTest, AFailureIsNotedByItsName) {
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

TEST_F(CallDecoderTest, EveryMethodHasItsName) {
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

TEST_F(CallDecoderTest, AnUnknownCodeIsToldByItsNumber) {
    service->setBrightness(1).isOk();
    tap->record.code = 999;
    tap->record.status = android::UNKNOWN_TRANSACTION;
    EXPECT_THAT(decoded(), ElementsAre("IBivista.999", "", "UNKNOWN_TRANSACTION"));
}

TEST_F(CallDecoderTest, WhatCannotBeReadIsLeftOut) {
    service->sendAtCommand("AT", nullptr, kIgnore).isOk();
    tap->record.request.pop_back();
    tap->record.reply.pop_back();
    EXPECT_THAT(decoded(), ElementsAre("IBivista.sendAtCommand", "", "unreadable"));
}

TEST_F(CallDecoderTest, OtherInterfacesAreNotTheCovers) {
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

TEST_F(CallDecoderTest, AnyBytesAreReadInBounds) {
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
