// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/Script.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "emulator/phone/backend/NodeFault.h"
#include "emulator/replay/DeviceText.h"

namespace replay {

namespace {

using phone::Entry;
using phone::Kind;

// After so long a silence what a device sends answers no command.
constexpr Time kLongestAnswer = std::chrono::seconds(60);
// The kernel's error numbers end before it.
constexpr int kErrors = 4096;

// Reads the entries in order.
class Maker {
  public:
    explicit Maker(const recording::Recording& recording) : mRecording(recording) {}

    Script make() {
        for (const Entry& entry : mRecording.entries) take(entry);
        std::ranges::stable_sort(mScript.deeds, {}, &Deed::time);
        return std::move(mScript);
    }

  private:
    // What the device of a tty is in the middle of.
    struct Line {
        size_t device = 0;
        std::string partial{};
        std::optional<Time> commanded{};  // of an exchange that is not over
        std::string answer{};
    };

    void take(const Entry& entry) {
        note(entry);
        mScript.bytes += entry.bytes.size();
        switch (entry.kind) {
            case Kind::Attach:
                return attach(entry);
            case Kind::Detach:
                return detach(entry);
            case Kind::TtyRx:
            case Kind::TtyLost:
                return command(entry);
            case Kind::TtyTx:
                return send(entry);
            case Kind::HidOpen:
            case Kind::HidGet:
            case Kind::HidSet:
            case Kind::HidWrite:
                return callHid(entry);
            case Kind::ClientCall:
                if (!entry.path.empty()) call(entry);
                return;
            case Kind::ClientCallback:
                return callBack(entry);
            case Kind::HidlCall:
                mScript.answers[entry.path].push_back(entry.note);
                return;
            default:
                if (isPlayed(entry)) mScript.stimuli.push_back({&entry});
        }
    }

    static bool isPlayed(const Entry& entry) {
        // A fault of a node is a state of files, where no device answers. What a fault of the cover
        // or its panel caused is among their answers.
        if (entry.kind == Kind::Fault) {
            return entry.bytes.empty() || phone::isNodeFault(entry.bytes);
        }
        return recording::isStimulus(entry);
    }

    void note(const Entry& entry) {
        std::string lane = laneOf(entry);
        if (lane.empty()) return;
        const bool endsLate = entry.kind == Kind::ClientCall || entry.kind == Kind::ClientCallback;
        const Time time = entry.time + (endsLate ? entry.duration.value_or(Time()) : Time());
        const bool isClosing = entry.kind == Kind::NodeClose || entry.kind == Kind::HidClose ||
                               entry.kind == Kind::TtyLost;
        mScript.deeds.push_back({time, std::move(lane), isClosing});
    }

    void call(const Entry& entry) {
        mScript.stimuli.push_back({.entry = &entry, .arguments = entry.bytes});
        if (entry.path.ends_with(".setLpwgCallback")) mListener = mScript.stimuli.size() - 1;
    }

    // A callback is "callback" in a call, whatever its version is: what it hears tells that.
    void callBack(const Entry& entry) {
        if (!mListener || !entry.path.ends_with(".onLpwgEvent")) return;
        std::string& arguments = mScript.stimuli[*mListener].arguments;
        if (arguments == R"(["callback"])") arguments = R"(["callback-1.0"])";
    }

    void attach(const Entry& entry) {
        const size_t place = mScript.devices.size();
        const auto begin = static_cast<size_t>(&entry - mRecording.entries.data()) + 1;
        mScript.devices.push_back(
                describeDevice(entry, std::span(mRecording.entries).subspan(begin)));
        const phone::DeviceDescription& description = mScript.devices.back().description;
        if (description.tty) mLines[phone::ttyNode(*description.tty)] = {.device = place};
        if (description.hidraw) mPanels[phone::hidrawNode(*description.hidraw)] = place;
        mNames[entry.path] = place;
        mScript.stimuli.push_back({&entry, place});
    }

    void detach(const Entry& entry) {
        const auto device = mNames.find(entry.path);
        // One that does not come back has gone already.
        if (device == mNames.end()) return;
        mScript.stimuli.push_back({&entry, device->second});
        mNames.erase(device);
    }

    Line* lineOf(const Entry& entry) {
        const auto line = mLines.find(entry.path);
        return line == mLines.end() ? nullptr : &line->second;
    }

    void command(const Entry& entry) {
        Line* const line = lineOf(entry);
        if (line == nullptr) return;
        std::vector<Exchange>& exchanges = mScript.devices[line->device].exchanges;
        if (entry.kind == Kind::TtyLost) {
            exchanges.push_back({.command = entry.bytes, .isLost = true});
            return;
        }
        line->partial += entry.bytes;
        if (!line->partial.ends_with('\r')) return;
        exchanges.push_back({.command = std::exchange(line->partial, {})});
        line->commanded = entry.time;
        line->answer.clear();
    }

    void send(const Entry& entry) {
        Line* const line = lineOf(entry);
        if (line == nullptr) return;
        if (!line->commanded || entry.time - *line->commanded > kLongestAnswer) {
            mScript.stimuli.push_back({&entry, line->device});
            return;
        }
        mScript.devices[line->device].exchanges.back().answers.push_back(
                {entry.time - *line->commanded, entry.time, entry.bytes});
        line->answer += entry.bytes;
        if (isOver(line->answer)) line->commanded.reset();
    }

    // What the cover sends after that is none of the answer.
    static bool isOver(std::string_view answer) {
        return answer.ends_with("\nOK\r\n") || answer.ends_with("ERROR\r\n");
    }

    void callHid(const Entry& entry) {
        const auto device = mPanels.find(entry.path);
        if (device == mPanels.end()) return;
        HidCall call = {.kind = entry.kind, .held = entry.duration.value_or(Time())};
        call.answered = entry.time + call.held;
        readOutcome(entry.note, &call);
        if (entry.kind == Kind::HidGet && call.error == 0) call.report = entry.bytes;
        std::vector<HidCall>& calls = mScript.devices[device->second].hidCalls;
        // It found the device gone: what the device answered last, it answered when it went.
        if (call.error == ENODEV && !calls.empty()) calls.back().answered = entry.time;
        calls.push_back(std::move(call));
    }

    // "", "passed 5", "EIO"; of an open after its flags.
    static void readOutcome(const std::string& note, HidCall* call) {
        constexpr std::string_view kPassed = "passed ";
        if (note.starts_with(kPassed)) {
            call->passed = std::strtoull(&note[kPassed.size()], nullptr, 10);
            return;
        }
        const std::string name = note.substr(note.rfind(' ') + 1);
        for (int error = 1; error < kErrors && !name.empty(); ++error) {
            const char* const known = strerrorname_np(error);
            if (known != nullptr && name == known) call->error = error;
        }
    }

    const recording::Recording& mRecording;
    Script mScript;
    std::optional<size_t> mListener{};      // the stimulus of the last setLpwgCallback
    std::map<std::string, Line> mLines;     // by the tty's node
    std::map<std::string, size_t> mPanels;  // by the hidraw node
    std::map<std::string, size_t> mNames;   // of devices that are there
};

}  // namespace

std::string laneOf(const Entry& entry) {
    switch (entry.kind) {
        case Kind::TtyTx:
        case Kind::HidOpen:
            return std::string(phone::name(entry.kind)) + " " + entry.path;
        default:
            return recording::laneOf(entry);
    }
}

Script makeScript(const recording::Recording& recording) {
    return Maker(recording).make();
}

}  // namespace replay
