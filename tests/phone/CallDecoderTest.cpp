// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Recorded calls as entries of the journal: each type, and each direction.
#include <gmock/gmock.h>

#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaAtCallback.h>
#include <vendor/qmx/hardware/bivista/1.0/BpHwBivistaSubDisplayCallback.h>
#include <vendor/qmx/hardware/bivista/1.1/BpHwBivistaLpwgCallback.h>
#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "emulator/phone/Digest.h"
#include "tests/phone/DecodedService.h"

namespace {

using namespace callstest;
using testing::ElementsAre;
using testing::StartsWith;

using CallDecoderTest = DecodedServiceTest;

class SubDisplayCallback : public IBivistaSubDisplayCallback {
    Return<void> onSubDisplayStateChanged(SubScreenState) override { return Void(); }
};
class Lpwg : public V1_1::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override { return Void(); }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus, int32_t) override { return Void(); }
};

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
            new Tap(android::hardware::toBinder(sp<IBivistaAtCallback>(new AtCallback)), true);
    sp<IBivistaAtCallback>(new V1_0::BpHwBivistaAtCallback(line))
            ->onAtResponse("a line\r\n")
            .isOk();
    EXPECT_EQ(calls::decode(line->record)->kind, phone::Kind::ClientCallback);
    EXPECT_THAT(texts(*calls::decode(line->record)),
                ElementsAre("IBivistaAtCallback.onAtResponse", R"(["a line\\r\\n"])", ""));

    const sp<Tap> state = new Tap(
            android::hardware::toBinder(sp<IBivistaSubDisplayCallback>(new SubDisplayCallback)),
            true);
    sp<IBivistaSubDisplayCallback>(new V1_0::BpHwBivistaSubDisplayCallback(state))
            ->onSubDisplayStateChanged(SubScreenState::ON)
            .isOk();
    EXPECT_THAT(
            texts(*calls::decode(state->record)),
            ElementsAre("IBivistaSubDisplayCallback.onSubDisplayStateChanged", R"(["ON"])", ""));

    const sp<Tap> lpwg =
            new Tap(android::hardware::toBinder(sp<V1_1::IBivistaLpwgCallback>(new Lpwg)), true);
    const sp<V1_1::IBivistaLpwgCallback> callback = new V1_1::BpHwBivistaLpwgCallback(lpwg);
    callback->onLpwgEvent(V1_0::LpwgEventStatus::WAKEUP, 0).isOk();
    EXPECT_THAT(texts(*calls::decode(lpwg->record)),
                ElementsAre("IBivistaLpwgCallback.onLpwgEvent", R"(["WAKEUP",0])", ""));
    callback->onLpwgEvent_1_1(V1_1::LpwgEventStatus::SWITCH_AES_TO_1, -1).isOk();
    EXPECT_THAT(
            texts(*calls::decode(lpwg->record)),
            ElementsAre("IBivistaLpwgCallback.onLpwgEvent_1_1", R"(["SWITCH_AES_TO_1",-1])", ""));
    callback->onLpwgEvent_1_1(static_cast<V1_1::LpwgEventStatus>(-1), 1).isOk();
    EXPECT_THAT(texts(*calls::decode(lpwg->record)),
                ElementsAre("IBivistaLpwgCallback.onLpwgEvent_1_1", R"(["UNKNOWN",1])", ""));
}

}  // namespace
