// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/TouchService.h"

#include <string>
#include <utility>

#include "emulator/cover/Integers.h"
#include "emulator/cover/TouchFrame.h"

namespace cover {
namespace {

// The phone chooses the types; without a bound it could make the cover remember without end.
constexpr size_t kLpwgTypes = 64;

std::vector<std::string> testResults(std::string_view name, const char* const (&checks)[4]) {
    std::vector<std::string> lines = {std::string(name) + " RESULT: PASS"};
    for (const char* check : checks) lines.push_back(std::string(check) + ": PASS");
    return lines;
}

std::vector<std::string> selfTestResults() {
    return testResults("SD", {"OPEN/SHORT", "RAW DATA", "JITTER", "NOISE"});
}

std::vector<std::string> lpwgSelfTestResults() {
    return testResults("LPWG SD", {"LPWG RAW DATA", "LPWG JITTER", "LPWG NOISE", "LPWG CURRENT"});
}

void append(std::vector<std::string>& lines, std::vector<std::string> more) {
    for (std::string& line : more) lines.push_back(std::move(line));
}

// Adds lines until all of them, each with a line end, have this many bytes. No line is empty.
void fillUp(std::vector<std::string>& lines, size_t bytes) {
    size_t filled = 0;
    for (const std::string& line : lines) filled += line.size() + 1;
    for (int node = 0; filled < bytes; ++node) {
        const size_t left = bytes - filled;
        if (left == 1) {
            lines.back() += '.';
            return;
        }
        lines.push_back(("NODE " + std::to_string(node) + ": PASS").substr(0, left - 1));
        filled += lines.back().size() + 1;
    }
}

// Takes a while before it is answered.
Answer after(Time delay, Answer answer) {
    answer.delay = delay;
    return answer;
}

}  // namespace

std::vector<Route> TouchService::routes() {
    using enum Route::Arguments;
    using Text = std::string_view;
    return {
            {"AT%TCHDEBUG=FWVER", None, [this](Text) { return version(); }},
            {"AT%TCHDEBUG=RAWDATA", None, [this](Text) { return rawFrame(); }},
            {"AT%TCHDEBUG=DELTA", None, [this](Text) { return deltaFrame(); }},
            {"AT%TCHDEBUG=RESET", None, [this](Text) { return reset(); }},
            {"AT%TCHDEBUG=GPIO_PIN", None, [](Text) { return ok({"INT:1 RESET:1 VDD:1 VIO:1"}); }},
            {"AT%TCHNOTIFY=FW_UPGRADE", None, [this](Text) { return upgrade(); }},
            {"AT%TCHNOTIFY=SD", None, [this](Text) { return selfTest(); }},
            {"AT%TCHNOTIFY=LPWG_SD", None, [this](Text) { return lpwgSelfTest(); }},
            {"AT%TCHNOTIFY=PULL_SD_RESULT", None, [this](Text) { return selfTestReport(); }},
            {"AT%TCHNOTIFY=LPWG_NOTIFY,", Some, [this](Text numbers) { return setLpwg(numbers); }},
            // Meant: the firmware itself spells SWITCH so.
            {"AT%TCHNOTIFY=SWTICH_AES,", Some, [this](Text mode) { return setAesMode(mode); }},
            {"AT%TCPERF=", Some, [this](Text enable) { return setPerformance(enable); }},
            {"AT%TCHUPDATE=UPDATE_STATE", Some,
             [this](Text numbers) { return setUpdateState(numbers); }},
    };
}

Answer TouchService::version() const {
    return mOptions.touchVersion.empty() ? ok() : ok({mOptions.touchVersion});
}

Answer TouchService::rawFrame() {
    return ok(rawTouchFrame(mState.frames++, mOptions.touchSize));
}

Answer TouchService::deltaFrame() {
    return ok(deltaTouchFrame(mState.frames++, mOptions.touchSize));
}

Answer TouchService::reset() {
    ++mState.resets;
    return ok();
}

Answer TouchService::upgrade() {
    ++mState.upgrades;
    return after(mOptions.touchUpgradeTime, ok());
}

Answer TouchService::selfTest() {
    ++mState.selfTests;
    return after(mOptions.selfTestTime, ok(selfTestResults()));
}

Answer TouchService::lpwgSelfTest() {
    ++mState.lpwgSelfTests;
    return after(mOptions.selfTestTime, ok(lpwgSelfTestResults()));
}

Answer TouchService::selfTestReport() const {
    std::vector<std::string> lines = {"TOUCH FW: " + mOptions.touchVersion};
    append(lines, mState.selfTests ? selfTestResults() : std::vector<std::string>{"SD: not run"});
    append(lines, mState.lpwgSelfTests ? lpwgSelfTestResults()
                                       : std::vector<std::string>{"LPWG SD: not run"});
    lines.push_back("RAW DATA");
    append(lines, rawTouchFrame(mState.frames, mOptions.touchSize));
    lines.push_back("DELTA");
    append(lines, deltaTouchFrame(mState.frames, mOptions.touchSize));
    fillUp(lines, mOptions.selfTestReportSize);
    return ok(std::move(lines));
}

Answer TouchService::setLpwg(std::string_view arguments) {
    const auto values = parseIntegers<int32_t>(arguments);
    if (!values || values->size() != 2) return refused();
    const int32_t type = (*values)[0];
    if (mState.lpwg.size() == kLpwgTypes && !mState.lpwg.contains(type)) return refused();
    mState.lpwg[type] = (*values)[1];
    return ok();
}

Answer TouchService::setAesMode(std::string_view arguments) {
    const std::optional<uint32_t> mode = parseInteger<uint32_t>(arguments);
    if (!mode) return refused();
    mState.aesMode = *mode;
    return ok();
}

Answer TouchService::setPerformance(std::string_view arguments) {
    if (arguments != "0" && arguments != "1") return refused();
    mState.performance = arguments == "1";
    return ok();
}

Answer TouchService::setUpdateState(std::string_view arguments) {
    if (arguments.empty()) {
        mState.updateState.clear();
        return ok();
    }
    if (arguments.front() != ',') return refused();
    auto values = parseIntegers<int32_t>(arguments.substr(1));
    if (!values) return refused();
    mState.updateState = std::move(*values);
    return ok();
}

}  // namespace cover
