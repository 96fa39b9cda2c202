// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Panel.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

namespace phonelog {

using phone::Kind;

namespace {

constexpr std::string_view kSwitch = "setSubDisplayPowerState ++, enable : ";
constexpr std::string_view kBrightness = "setSubDisplayBrightness ++, value : ";

// Of a failure that the line tells, its error; "" for another line.
std::string_view failureIn(std::string_view text, std::string_view what) {
    if (!text.starts_with(what)) return "";
    const size_t at = text.rfind(": ");
    return errorName(text.substr(at + 2));
}

class Reader {
  public:
    Reader(Draft& draft, const Devices& devices) : mDraft(draft), mDevices(devices) {}

    void takeNode(const Thread& thread);    // a thread that switches the panel
    void takeFrames(const Thread& thread);  // the thread that sends them
    PanelStates finish();

  private:
    struct Attempt {
        size_t line = 0;
        std::string open;   // its error; "": none
        std::string write;  // that of the report
    };

    std::string_view next(const Thread& thread, size_t at) const;
    void request(Place place, Kind kind, const std::string& bytes, std::string_view error);
    void addInfo(const Thread& thread, size_t at);
    void addSwitch(const Thread& thread, size_t at);
    void addBrightness(const Thread& thread, size_t at, const PanelStates& states);
    void addFrame(size_t line, const std::vector<Attempt>& failed, size_t done);

    Draft& mDraft;
    const Devices& mDevices;
    std::vector<PanelState> mStates;
    std::vector<std::pair<const Thread*, size_t>> mLevels;  // steps
};

std::string_view Reader::next(const Thread& thread, size_t at) const {
    return at + 1 < thread.steps.size() ? std::string_view(mDraft.text(thread.steps[at + 1].line))
                                        : "";
}

// The node is opened, used and closed.
void Reader::request(Place place, Kind kind, const std::string& bytes, std::string_view error) {
    const std::string path = mDevices.hidAt(place.line);
    mDraft.add(place, Kind::HidOpen, path);
    mDraft.add(place, kind, path, bytes, std::string(error));
    mDraft.add(place, Kind::HidClose, path);
}

void Reader::addInfo(const Thread& thread, size_t at) {
    const size_t line = thread.steps[at].line;
    const std::string after(next(thread, at));
    if (after.starts_with("hidDisplayGetInfo: failed to open")) {
        mDraft.add({line, 1}, Kind::HidOpen, mDevices.hidAt(line));
        return;
    }
    const std::string_view error = failureIn(after, "hidDisplayGetInfo: failed to get info");
    if (!error.empty()) return request({line, 1}, Kind::HidGet, "", error);
    unsigned x = 0;
    unsigned y = 0;
    unsigned format = 0;
    unsigned ready = 0;
    if (sscanf(after.c_str(), "HID-DISPLAY: x:%u y:%u format:%u ready:%u", &x, &y, &format,
               &ready) != 4) {
        return;
    }
    const auto byte = [](unsigned value) { return static_cast<char>(value & 0xFF); };
    const std::string report = {
            2, byte(x), byte(x >> 8), byte(y), byte(y >> 8), byte(format), byte(ready)};
    request({line, 1}, Kind::HidGet, report, "");
    mStates.push_back({thread.steps[at + 1].line, "INITIALIZED", x, y, format});
}

void Reader::addSwitch(const Thread& thread, size_t at) {
    const size_t line = thread.steps[at].line;
    const bool enable = mDraft.text(line).ends_with('1');
    const std::string_view after = next(thread, at);
    for (const char* refusal : {"Sub Display Power state is in progress",
                                "Sub Display is not initialized", "Same status is requested"}) {
        if (after.starts_with(refusal)) return;
    }
    const std::string report = {3, static_cast<char>(enable ? 2 : 0),
                                static_cast<char>(enable ? 90 : 0)};
    if (after.starts_with("hidDisplaySetConfig: failed to open")) {
        mDraft.add({line, 1}, Kind::HidOpen, mDevices.hidAt(line));
        return;
    }
    const std::string_view error = failureIn(after, "hidDisplaySetConfig: failed to set config");
    request({line, 1}, Kind::HidSet, report, error);
    if (!error.empty()) return;
    for (size_t end = at + 1; end < thread.steps.size(); ++end) {
        const size_t done = thread.steps[end].line;
        if (mDraft.text(done).starts_with(kSwitch)) return;
        if (mDraft.text(done) != "setSubDisplayPowerState --") continue;
        mStates.push_back({done, enable ? "ON" : "OFF", 0, 0, 0});
        return;
    }
}

void Reader::addBrightness(const Thread& thread, size_t at, const PanelStates& states) {
    const size_t line = thread.steps[at].line;
    const std::string_view after = next(thread, at);
    if (after.starts_with("Sub Display is not") || after.starts_with("invalid brightness")) return;
    const int value = std::atoi(mDraft.text(line).c_str() + kBrightness.size());
    const bool isOff = states.at(line).state == "OFF";
    const std::string report = {3, static_cast<char>(isOff ? 0 : 2), static_cast<char>(value)};
    if (after.starts_with("hidDisplaySetConfig: failed to open")) {
        mDraft.add({line, 1}, Kind::HidOpen, mDevices.hidAt(line));
        return;
    }
    request({line, 1}, Kind::HidSet, report,
            failureIn(after, "hidDisplaySetConfig: failed to set config"));
}

void Reader::takeNode(const Thread& thread) {
    for (size_t at = 0; at < thread.steps.size(); ++at) {
        if (thread.steps[at].exchange != nullptr) continue;
        const std::string_view text = mDraft.text(thread.steps[at].line);
        if (text == "hidDisplayDeviceAdded: attached:0") addInfo(thread, at);
        if (text.starts_with(kSwitch)) addSwitch(thread, at);
        if (text.starts_with(kBrightness)) mLevels.emplace_back(&thread, at);
        if (text.starts_with("deinitSubDisplay ++")) {
            mStates.push_back({thread.steps[at].line, "UNINITIALIZED", 0, 0, 0});
        }
    }
}

// Which report failed, and what the picture was, is not in the log: the first report, and no bytes.
void Reader::addFrame(size_t line, const std::vector<Attempt>& failed, size_t done) {
    constexpr int kReports = 3;  // of 8,192 bytes
    const std::string path = mDevices.hidAt(line);
    for (const Attempt& attempt : failed) {
        if (!attempt.open.empty()) {
            mDraft.add({attempt.line, -1}, Kind::HidOpen, path);
        } else {
            request({attempt.line, -1}, Kind::HidWrite, "", attempt.write);
        }
    }
    if (done == SIZE_MAX) return;
    mDraft.add({failed.empty() ? line : failed.back().line, 1}, Kind::HidOpen, path);
    for (int i = 0; i < kReports; ++i) {
        mDraft.add({failed.empty() ? line : failed.back().line, 1}, Kind::HidWrite, path);
    }
    mDraft.add({failed.empty() ? line : failed.back().line, 1}, Kind::HidClose, path);
    request({done, -1}, Kind::HidWrite, std::string("\2\0\0\0\0\0\0", 7), "");
    ++mDraft.findings().frames;
}

void Reader::takeFrames(const Thread& thread) {
    size_t begin = SIZE_MAX;
    std::vector<Attempt> failed;
    for (const Step& step : thread.steps) {
        const std::string_view text = mDraft.text(step.line);
        if (text.ends_with(" is being consumed.")) {
            begin = step.line;
            failed.clear();
        } else if (begin == SIZE_MAX) {
            continue;
        } else if (text.starts_with("hidDisplayPalette: failed to open")) {
            failed.push_back({step.line, "open", ""});
        } else if (text.starts_with("hidDisplayPalette: failed to write")) {
            failed.push_back(
                    {step.line, "", std::string(errorName(text.substr(text.rfind(": ") + 2)))});
        } else if (text.starts_with("HID-DISPLAY: write Palette done")) {
            addFrame(begin, failed, step.line);
            begin = SIZE_MAX;
        } else if (text.starts_with("Could not send palette")) {
            addFrame(begin, failed, SIZE_MAX);
            begin = SIZE_MAX;
        }
    }
}

PanelStates Reader::finish() {
    std::ranges::stable_sort(mStates, {}, &PanelState::line);
    PanelStates states;
    PanelState last;
    for (PanelState state : mStates) {
        if (state.width == 0 && state.state != "INITIALIZED") {
            state.width = last.width;
            state.height = last.height;
            state.format = last.format;
        }
        states.add(last = state);
    }
    for (const auto& [thread, at] : mLevels) addBrightness(*thread, at, states);
    return states;
}

}  // namespace

PanelState PanelStates::at(size_t line) const {
    PanelState found;
    found.state = "UNINITIALIZED";
    const auto after = std::ranges::upper_bound(mStates, line, {}, &PanelState::line);
    return after == mStates.begin() ? found : *std::prev(after);
}

PanelStates addPanel(Draft& draft, const Threads& threads, const Devices& devices) {
    Reader reader(draft, devices);
    for (const Thread& thread : threads.threads) {
        if (thread.role == Role::Update) {
            reader.takeFrames(thread);
        } else {
            reader.takeNode(thread);
        }
    }
    PanelStates states = reader.finish();
    if (draft.findings().frames > 0) {
        draft.missing(
                "The pictures that were drawn are not in the log: each is black, and the "
                "bytes of reports are not compared.");
    }
    return states;
}

void addPanelCallbacks(Draft& draft, const PanelStates& states, size_t from) {
    for (const PanelState& state : states.all()) {
        if (state.line < from) continue;
        draft.add({state.line, -1}, Kind::ClientCallback,
                  "IBivistaSubDisplayCallback.onSubDisplayStateChanged",
                  "[\"" + std::string(state.state) + "\"]");
    }
}

std::string_view errorName(std::string_view text) {
    constexpr int kLastError = 133;
    for (int error = 1; error <= kLastError; ++error) {
        const char* const known = strerror(error);
        if (known != nullptr && text == known) return strerrorname_np(error);
    }
    return "EIO";
}

}  // namespace phonelog
