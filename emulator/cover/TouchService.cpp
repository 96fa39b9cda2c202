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

}  // namespace

std::vector<Route> TouchService::routes() {
    using enum Route::Arguments;
    using Text = std::string_view;
    const auto counted = [](uint32_t& counter) {
        return [&counter](Text) {
            ++counter;
            return ok();
        };
    };
    return {
            {"AT%TCHDEBUG=FWVER", None, [this](Text) { return version(); }},
            {"AT%TCHDEBUG=RAWDATA", None, [this](Text) { return rawFrame(); }},
            {"AT%TCHDEBUG=DELTA", None, [this](Text) { return deltaFrame(); }},
            {"AT%TCHDEBUG=RESET", None, counted(mState.resets)},
            {"AT%TCHDEBUG=GPIO_PIN", None, [](Text) { return ok({"INT:1 RESET:1 VDD:1 VIO:1"}); }},
            {"AT%TCHNOTIFY=FW_UPGRADE", None, counted(mState.upgrades)},
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
    return ok(rawTouchFrame(mState.frames++));
}

Answer TouchService::deltaFrame() {
    return ok(deltaTouchFrame(mState.frames++));
}

Answer TouchService::selfTest() {
    ++mState.selfTests;
    return ok(selfTestResults());
}

Answer TouchService::lpwgSelfTest() {
    ++mState.lpwgSelfTests;
    return ok(lpwgSelfTestResults());
}

Answer TouchService::selfTestReport() const {
    std::vector<std::string> lines = {"TOUCH FW: " + mOptions.touchVersion};
    append(lines, mState.selfTests ? selfTestResults() : std::vector<std::string>{"SD: not run"});
    append(lines, mState.lpwgSelfTests ? lpwgSelfTestResults()
                                       : std::vector<std::string>{"LPWG SD: not run"});
    lines.push_back("RAW DATA");
    append(lines, rawTouchFrame(mState.frames));
    lines.push_back("DELTA");
    append(lines, deltaTouchFrame(mState.frames));
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
