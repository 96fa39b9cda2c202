// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls for the two screens, the pen, and callbacks.

#include <algorithm>
#include <cstdlib>

#include "emulator/cover/Integers.h"
#include "emulator/phone/Paths.h"
#include "emulator/phonelog/CallReader.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr std::string_view kColourLine = "bv2_display_color_mode_send: at cmd path:";

struct Colour {
    std::string_view command;
    const char* method;
    const char* fresh;  // values after an attach
};

constexpr Colour kColours[] = {
        {"AT%PRGB=", "setRgbTune", "2,0,0,0"},
        {"AT%SHS=", "setScreenTune", "2,2,2"},
        {"AT%SMODE=", "setScreenMode", "0"},
};

int lastNumber(std::string_view text) {
    return std::atoi(std::string(text.substr(text.rfind(' ') + 1)).c_str());
}

}  // namespace

// One colour setting that the service sends. The steps are its line, the exchange, and its result.
void CallReader::takeColours(bool beforePower) {
    const std::string command(line().substr(kColourLine.size()));
    const size_t first = lineIndex();
    ++mAt;
    if (exchange() != nullptr) ++mAt;
    if (line().starts_with("bv2_display_color_mode_send: ") && !line().starts_with(kColourLine)) {
        ++mAt;
    }
    for (const Colour& colour : kColours) {
        if (!command.starts_with(colour.command)) continue;
        const std::string values = command.substr(colour.command.size());
        std::string& known = mColours.try_emplace(colour.method, colour.fresh).first->second;
        // The screen that comes on gets settings again that a client made earlier.
        if (beforePower && known == values) return;
        known = values;
        Json arguments = Json::array();
        for (const auto number :
             cover::parseIntegers<int64_t>(values).value_or(std::vector<int64_t>{})) {
            arguments.push_back(std::string_view(colour.method) == "setScreenMode"
                                        ? Json(number)
                                        : Json(static_cast<uint32_t>(number)));
        }
        if (std::string_view(colour.method) == "setScreenTune") arguments.push_back(0);
        if (!beforePower) return addStatus(colour.method, arguments, true, command);
        mDraft.addLasting({mFirst, -6}, mFirst, Kind::ClientCall,
                          std::string("IBivista.") + colour.method, arguments.dump(), R"(["OK"])");
        mDraft.infer(first, std::string(colour.method) + " before setPowerStatus from " + command);
        ++mDraft.findings().calls;
        return;
    }
}

void CallReader::takePowerOn() {
    while (!isEnd() && !isCommand(0, "AT%BV=1")) {
        if (line().starts_with(kColourLine)) {
            takeColours(true);
        } else if (isCommand(0, "AT%LOGSAVE=") || !beginsCall()) {
            ++mAt;
        } else {
            mDraft.missing(mFirst, "what the lines belong to is not known: left out");
            return;
        }
    }
    if (isEnd()) return;
    ++mAt;
    const std::string_view written = phone::kPowerNode;
    while (!isEnd() && (!beginsCall() || isCommand(0, "AT%HPD") || line().ends_with(written))) {
        ++mAt;
    }
    const bool isOn = passed("HPD status changed");
    if (isOn) mScreenOnAt = mFirst;
    const bool uevent = passed("Writing 1 1 to ");
    if (!uevent && !passed("Writing 1 0 to ")) {
        mDraft.missing(mFirst, "setPowerStatus's second argument is not known: false assumed");
    }
    addStatus("setPowerStatus", {true, uevent}, isOn, "AT%BV=1");
}

void CallReader::takePowerOff(const Exchange& exchange) {
    ++mAt;
    while (!isEnd() && (!beginsCall() || line().ends_with(phone::kPowerNode))) ++mAt;
    if (!exchange.failed()) mScreenOnAt = SIZE_MAX;
    const bool uevent = passed("Writing 0 1 to ");
    if (!uevent && !passed("Writing 0 0 to ")) {
        mDraft.missing(mFirst, "setPowerStatus's second argument is not known: false assumed");
    }
    addStatus("setPowerStatus", {false, uevent}, !exchange.failed(), "AT%BV=0");
}

void CallReader::takeAesMode(const Exchange& exchange) {
    const int mode = std::atoi(exchange.command.c_str() + exchange.command.rfind(',') + 1);
    ++mAt;
    while (!isEnd() && (!beginsCall() || line().ends_with(phone::kAesMode))) ++mAt;
    if (!passed("manageAesMode : ")) {
        addStatus("setAesMode", Json::array({mode}), !exchange.failed(), exchange.command);
        return;
    }
    addStatus("manageAesMode", Json::array({mode}), !exchange.failed(), exchange.command);
}

void CallReader::takeUpdateState() {
    bool isOk = false;
    if (exchange() == nullptr) ++mAt;
    while (!isEnd() && !beginsCall()) ++mAt;
    if (isCommand(0, "AT%TCHUPDATE=UPDATE_STATE")) {
        isOk = !exchange()->failed();
        ++mAt;
        skipTail();
    }
    addStatus("bv_update_state", Json::array(), isOk, "AT%TCHUPDATE=UPDATE_STATE");
}

void CallReader::takeCallback(std::string_view text) {
    const bool isLpwg = text.starts_with("Registering 1.");
    ++mAt;
    if (!isLpwg) {
        mCalls.subCallback = std::min(mCalls.subCallback, mFirst);
        add("setSubDisplayCallback", Json::array({"callback"}), Json(), std::string(text));
        return;
    }
    if (line() == "registering callback") ++mAt;
    mCalls.hasLpwgCallback = true;
    add("setLpwgCallback",
        Json::array({text.find("1.0") == std::string_view::npos ? "callback" : "callback-1.0"}),
        Json(), "");
}

void CallReader::takeFrame() {
    const PanelState panel = mPanel.at(mFirst);
    size_t words = panel.width * panel.height;
    ++mAt;
    bool isDrawn = false;
    while (!isEnd() && !beginsCall() && !isDrawn) {
        const std::string_view text = line();
        if (text.starts_with("Input buffer size is ")) {
            words = static_cast<size_t>(std::max(lastNumber(text), 0));
        }
        isDrawn = text == "Draw Sub DISPLAY --";
        ++mAt;
    }
    const bool isWrong = passed("Input buffer size is ");
    constexpr size_t kMostWords = 1 << 20;
    const Json frame(std::min(words, kMostWords), Json(0));
    addStatus("drawSubDisplay", Json::array({frame}), isDrawn && !isWrong, "");
}

void CallReader::takePanelPower(std::string_view text) {
    const bool enable = text.ends_with('1');
    ++mAt;
    const bool isBusy = line().starts_with("Sub Display Power state is in progress");
    while (!isEnd() && !beginsCall() && line() != "setSubDisplayPowerState --") ++mAt;
    if (line() == "setSubDisplayPowerState --") ++mAt;
    const bool isDone = passed("setSubDisplayPowerState --") && !passed("hidDisplaySetConfig: ");
    addStatus("setSubDisplayPowerState", Json::array({enable}), isBusy || isDone, "");
}

void CallReader::takePanelBrightness(std::string_view text) {
    const int value = lastNumber(text);
    ++mAt;
    while (!isEnd() && !beginsCall() && line() != "setSubDisplayBrightness --") ++mAt;
    if (line() == "setSubDisplayBrightness --") ++mAt;
    const bool isDone = passed("setSubDisplayBrightness --") && !passed("hidDisplaySetConfig: ");
    addStatus("setSubDisplayBrightness", Json::array({value}), isDone, "");
}

void CallReader::takeOffset(std::string_view text) {
    // The number that asks for the bypass.
    constexpr int kBypass = 100;
    const bool isBypass = text.starts_with("enalble");
    const int value = isBypass ? kBypass : lastNumber(text);
    ++mAt;
    if (!isBypass && isScreenOn()) mCalls.offsets.push_back(mFirst);
    addStatus("setBVBrightnessOffset", Json::array({value}), isBypass || isScreenOn(), "");
}

}  // namespace phonelog
