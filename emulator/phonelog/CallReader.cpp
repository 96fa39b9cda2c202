// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/CallReader.h"

#include <algorithm>

#include "emulator/cover/Text.h"
#include "emulator/phone/Paths.h"
#include "emulator/phonelog/Prelude.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr size_t npos = std::string_view::npos;

std::string after(std::string_view text, std::string_view begin) {
    return std::string(text.substr(std::min(text.find(begin) + begin.size(), text.size())));
}

int numberAfter(std::string_view text, std::string_view begin) {
    return std::atoi(after(text, begin).c_str());
}

}  // namespace

CallReader::CallReader(Draft& draft, const PanelStates& panel, Calls& calls)
    : mDraft(draft), mPanel(panel), mCalls(calls) {
    if (beginsWithScreen(draft)) mScreenOnAt = 0;
    for (size_t i = 0; i < draft.log().lines.size(); ++i) {
        if (draft.text(i).starts_with("bv2_display_deinit ++")) mDetaches.push_back(i);
        if (draft.text(i) == kStopped) mStoppedAt = i;
    }
}

// Until a detach, at the latest.
bool CallReader::isScreenOn() const {
    if (mScreenOnAt == SIZE_MAX) return false;
    const auto detach = std::ranges::upper_bound(mDetaches, mScreenOnAt);
    return detach == mDetaches.end() || *detach > mFirst;
}

std::string_view CallReader::line(size_t ahead) const {
    const size_t at = mAt + ahead;
    if (at >= mThread->steps.size() || mThread->steps[at].exchange != nullptr) return "";
    return mDraft.text(mThread->steps[at].line);
}

const Exchange* CallReader::exchange(size_t ahead) const {
    const size_t at = mAt + ahead;
    return at < mThread->steps.size() ? mThread->steps[at].exchange : nullptr;
}

bool CallReader::isCommand(size_t ahead, std::string_view begin) const {
    return exchange(ahead) != nullptr && exchange(ahead)->command.starts_with(begin);
}

bool CallReader::beginsCall() const {
    if (exchange() != nullptr) return true;
    const std::string_view text = line();
    return text == "registering callback" || text.starts_with("Writing ") ||
           text.find(", old_value:") != npos ||
           std::ranges::any_of(kCallBegins,
                               [text](std::string_view begin) { return text.starts_with(begin); });
}

bool CallReader::passed(std::string_view text) const {
    size_t at = mAt;
    while (at > 0 && mThread->steps[at - 1].line >= mFirst) {
        --at;
        const Step& step = mThread->steps[at];
        if (step.exchange == nullptr && mDraft.text(step.line).find(text) != npos) return true;
    }
    return false;
}

void CallReader::skipTail() {
    while (!isEnd() && !beginsCall()) ++mAt;
}

void CallReader::add(const std::string& method, const Json& arguments, const Json& results,
                     const std::string& led) {
    const size_t last = mThread->steps[mAt - 1].last();
    const std::string note = results.is_null() ? "" : results.dump();
    mDraft.addLasting({mFirst, -1}, last, Kind::ClientCall, "IBivista." + method, arguments.dump(),
                      note);
    mCalls.spans.push_back({mFirst, last});
    ++mDraft.findings().calls;
    if (!led.empty()) mDraft.infer(mFirst, method + " from " + led);
}

void CallReader::addStatus(const std::string& method, const Json& arguments, bool isOk,
                           const std::string& led) {
    add(method, arguments, Json::array({isOk ? "OK" : "FAIL"}), led);
}

void CallReader::read(const Thread& thread) {
    mThread = &thread;
    mAt = 0;
    while (!isEnd()) {
        begin();
        takeCall();
    }
}

void CallReader::takeCall() {
    if (const Exchange* const found = exchange()) return takeExchangeCall(*found);
    const std::string text(line());
    if (!takeLineCall(text) && !takeNodeCall(text) && !takeRefusedCall(text)) ++mAt;
}

bool CallReader::takeLineCall(std::string_view text) {
    if (text.starts_with("sendAtCommand: ")) {
        takePassThrough();
    } else if (text.starts_with("getFirmwareFile: mDfuFilePath = ")) {
        ++mAt;
        add("getFirmwareFile", Json::array(), {"OK", cover::escape(after(text, "mDfuFilePath = "))},
            "");
    } else if (text.starts_with("getLogSaveAtCmd: ")) {
        takePowerOn();
    } else if (text.starts_with("bv2_display_color_mode_send: at cmd path:")) {
        precedesPowerOn() ? takePowerOn() : takeColours(false);
    } else if (text.starts_with("Registering 1.") || text == "registering callback") {
        takeCallback(text);
    } else if (text == "Draw Sub DISPLAY ++") {
        takeFrame();
    } else if (text.starts_with("setSubDisplayPowerState ++")) {
        takePanelPower(text);
    } else if (text.starts_with("setSubDisplayBrightness ++")) {
        takePanelBrightness(text);
    } else if (text.starts_with("readString : ")) {
        takeUpdateState();
    } else if (text.starts_with("request br_offset is ") || text == "enalble br offset bypass") {
        takeOffset(text);
    } else {
        return false;
    }
    return true;
}

// Calls that write a control file, or could not.
bool CallReader::takeNodeCall(std::string_view text) {
    const bool isOrder = text.ends_with(phone::kFirmwareWrite);
    if (text.starts_with("Writing ") && isOrder) {
        const bool starts = text.starts_with("Writing 1 ");
        ++mAt;
        const bool failed = line().starts_with("Cannot open path");
        skipTail();
        addStatus(starts ? "doFirmwareUpgrade" : "cancelFirmwareUpgrade", Json::array(), !failed,
                  std::string(text));
        return true;
    }
    if (text.starts_with("Writing 0 0 to ") && isCommand(1, "AT%GO")) {
        ++mAt;
        takeExchangeCall(*exchange());
        return true;
    }
    const bool isMissing =
            text.starts_with("File is not exist : ") || text.starts_with("Cannot Read file : ");
    if (isMissing && isOrder) {
        ++mAt;
        skipTail();
        addStatus("doFirmwareUpgrade", Json::array(), false, std::string(text));
        mDraft.missing(mFirst, "doFirmwareUpgrade or cancelFirmwareUpgrade: the first is assumed");
        return true;
    }
    if (!isMissing || !text.ends_with(phone::kUpdateState)) return false;
    takeUpdateState();
    return true;
}

// Calls that the service refuses with one line.
bool CallReader::takeRefusedCall(std::string_view text) {
    const std::string led(text);
    ++mAt;
    if (text.starts_with("setPowerStatus: bv2 not initialized, ")) {
        addStatus("setPowerStatus",
                  {numberAfter(text, "enable:") != 0, numberAfter(text, "uevent:") != 0}, false,
                  led);
    } else if (text.starts_with("set_touch_perf: bv2 not initialized, ")) {
        addStatus("set_touch_perf", Json::array({numberAfter(text, "enable:") != 0}), false, led);
    } else if (text.starts_with("setBVBrightnessOffset: bv2 not initialized, ")) {
        addStatus("setBVBrightnessOffset", Json::array({numberAfter(text, "value:")}), true, led);
    } else if (text.starts_with("invalid brightness value:") && text.find("old_value") != npos) {
        addStatus("setBrightness", Json::array({numberAfter(text, "value:")}), true, led);
    } else if (text == "Sub Display is not initialized yet") {
        add("getSubDisplayInfo", Json::array(), Json(), led);
    } else {
        --mAt;
        return false;
    }
    return true;
}

void CallReader::takeExchangeCall(const Exchange& exchange) {
    const std::string& command = exchange.command;
    if (command == "AT%SWV") return takeVersion(exchange);
    if (command == "AT%BV=0") return takePowerOff(exchange);
    if (command == "AT%BV=1" || command.starts_with("AT%LOGSAVE=")) return takePowerOn();
    if (takeValueCall(exchange)) return;
    const auto query = std::ranges::find(kQueries, command, &Query::command);
    ++mAt;
    skipTail();
    if (query == std::end(kQueries)) {
        Json results = {exchange.failed() ? "FAIL" : "OK", cover::escape(exchange.text())};
        add("sendAtCommand",
            {cover::escape(command), exchange.hasCallback ? Json("callback") : Json()}, results,
            mDraft.shown(command));
        mDraft.missing(mFirst, "a command " + mDraft.shown(command) +
                                       " whose caller cannot be told: sendAtCommand assumed");
        return;
    }
    const bool isLost = passed("Cannot open path: ") || passed("chmod failed");
    Json results = Json::array({exchange.failed() || isLost ? "FAIL" : "OK"});
    if (query->hasText) results.push_back(cover::escape(exchange.text()));
    add(std::string(query->method), Json::array(), results, command);
}

// Commands with numbers in them.
bool CallReader::takeValueCall(const Exchange& exchange) {
    const std::string& command = exchange.command;
    if (command.starts_with("AT%TCHNOTIFY=SWTICH_AES,")) {
        takeAesMode(exchange);
    } else if (command.starts_with("AT%TCHUPDATE=UPDATE_STATE")) {
        takeUpdateState();
    } else if (command.starts_with("AT%TCHNOTIFY=LPWG_NOTIFY,")) {
        const int type = numberAfter(command, "NOTIFY,");
        const int value = std::atoi(command.c_str() + command.rfind(',') + 1);
        ++mAt;
        skipTail();
        const Json status = {{"type", type}, {"value", value}};
        addStatus("setStatus", Json::array({status}), !exchange.failed(), command);
    } else if (command.starts_with("AT%TCPERF=")) {
        ++mAt;
        skipTail();
        addStatus("set_touch_perf", Json::array({command.ends_with('1')}), !exchange.failed(),
                  command);
    } else {
        return false;
    }
    return true;
}

void CallReader::takePassThrough() {
    const std::string said = after(line(), "sendAtCommand: ");
    ++mAt;
    while (!isEnd() && !beginsCall()) ++mAt;
    const Exchange* const found = exchange();
    // One of both lines may be cut.
    const bool isOurs = found != nullptr &&
                        (found->command.starts_with(said) || said.starts_with(found->command));
    if (!isOurs) {
        add("sendAtCommand", {cover::escape(said), nullptr}, Json(), "");
        mDraft.missing(mFirst, "what became of the command is missing");
        return;
    }
    ++mAt;
    const Json callback = found->hasCallback ? Json("callback") : Json();
    const std::string command = found->command.size() >= said.size() ? found->command : said;
    add("sendAtCommand", {cover::escape(command), callback},
        {found->failed() ? "FAIL" : "OK", cover::escape(found->text())}, "");
    if (!found->hasCallback) return;
    for (const Exchange::Said* content : found->contents()) {
        mDraft.add({content->line, 3}, Kind::ClientCallback, "IBivistaAtCallback.onAtResponse",
                   Json::array({cover::escape(content->text + "\n")}).dump());
    }
}

void CallReader::takeVersion(const Exchange& exchange) {
    ++mAt;
    const bool isCheck = line().starts_with("checkFirmwareVersion: ");
    skipTail();
    // The order that the check gives.
    if (isCheck && passed("doFirmwareUpgrade called") && line().starts_with("Writing 1 ")) {
        ++mAt;
        skipTail();
    }
    if (isCheck) {
        addStatus("checkFirmwareVersion", Json::array(), passed("doFirmwareUpgrade not called"),
                  "");
        return;
    }
    const bool isOk = !exchange.failed();
    add("getFirmwareVersion", Json::array(),
        {isOk ? "OK" : "FAIL", isOk ? cover::escape(exchange.text()) : ""},
        isOk ? "" : "AT%SWV without an answer");
}

}  // namespace phonelog
