// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls for the two screens, the pen, and callbacks.

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "emulator/cover/Integers.h"
#include "emulator/phone/Paths.h"
#include "emulator/phonelog/CallReader.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr std::string_view kColourLine = "bv2_display_color_mode_send: at cmd path:";

constexpr std::string_view kNoPanel = "Sub Display is not initialized yet";

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

// As the journal spells it.
recording::Json screenMode(int64_t mode) {
    constexpr const char* kNames[] = {"DEFAULT", "MODE_1", "MODE_2", "MODE_3"};
    if (mode < 0 || mode >= int64_t{std::size(kNames)}) return mode;
    return kNames[mode];
}

int lastNumber(std::string_view text) {
    return std::atoi(std::string(text.substr(text.rfind(' ') + 1)).c_str());
}

}  // namespace

// The steps of one colour setting that the service sends: its line, the exchange, its result. 0 for
// something else.
size_t CallReader::colourSteps(size_t ahead) const {
    if (!line(ahead).starts_with(kColourLine)) return 0;
    size_t count = 1;
    if (exchange(ahead + count) != nullptr) ++count;
    const std::string_view result = line(ahead + count);
    const bool isResult = result.starts_with("bv2_display_color_mode_send: ");
    return isResult && !result.starts_with(kColourLine) ? count + 1 : count;
}

// A screen that is off gets the settings when it is switched on.
bool CallReader::precedesPowerOn() const {
    if (isScreenOn()) return false;
    size_t ahead = 0;
    for (size_t i = 0; i < std::size(kColours); ++i) ahead += colourSteps(ahead);
    return isCommand(ahead, "AT%LOGSAVE=") || line(ahead).starts_with("getLogSaveAtCmd: ");
}

void CallReader::takeColours(bool beforePower) {
    const std::string command(line().substr(kColourLine.size()));
    const size_t first = lineIndex();
    mAt += colourSteps(0);
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
                                        ? screenMode(number)
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
        } else if (isCommand(0, "AT%LOGSAVE=") || line().starts_with("getLogSaveAtCmd: ") ||
                   !beginsCall()) {
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
    const std::string_view number =
            std::string_view(exchange.command).substr(exchange.command.rfind(',') + 1);
    const uint32_t mode = cover::parseInteger<uint32_t>(number).value_or(0);
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

// A client that clears the callback for events stops the USB side, and gets no answer.
bool CallReader::clearsLpwg() const {
    return isEnd() && mStoppedAt > mFirst;
}

void CallReader::takeCallback(std::string_view text) {
    const bool isLpwg = text.starts_with("Registering 1.");
    ++mAt;
    if (!isLpwg && clearsLpwg()) {
        mCalls.clearsLpwg = true;
        add("setLpwgCallback", Json::array({nullptr}), Json(), "\"destroy set\", later");
        return;
    }
    if (!isLpwg) {
        mCalls.subCallback = std::min(mCalls.subCallback, mFirst);
        add("setSubDisplayCallback", Json::array({"callback"}), Json(), std::string(text));
        return;
    }
    if (line() == "registering callback") ++mAt;
    mCalls.hasLpwgCallback = true;
    add("setLpwgCallback", Json::array({"callback"}), Json(), "");
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
    if (line() == kNoPanel) ++mAt;
    while (!isEnd() && !beginsCall() && line() != "setSubDisplayPowerState --") ++mAt;
    if (line() == "setSubDisplayPowerState --") ++mAt;
    const bool isDone = passed("setSubDisplayPowerState --") && !passed("hidDisplaySetConfig: ");
    addStatus("setSubDisplayPowerState", Json::array({enable}), isBusy || isDone, "");
}

void CallReader::takePanelBrightness(std::string_view text) {
    const int value = lastNumber(text);
    ++mAt;
    if (line() == kNoPanel) ++mAt;
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
