// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Events.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "emulator/phone/Paths.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr size_t npos = std::string_view::npos;
constexpr std::string_view kReceived = "uevent received ";
constexpr std::string_view kNext = "cp1 = ";
constexpr std::string_view kName = "Uevent_msg = ";

// Events that the service carries out itself.
constexpr std::string_view kOwn[] = {"SWITCH_AES_BOTH", "SWITCH_AES_TO_1", "SWITCH_AES_TO_2",
                                     "BV_UPDATE_STATE"};
constexpr std::string_view kClients[] = {"WAKEUP", "BV_PEN_WAKEUP", "BV_PEN_WAKEUP_BTN",
                                         "BV_PEN_DETECTION"};

// The strings before the one that the log shows.
std::string headOfUevent() {
    std::string head;
    for (const char* string : {"change@/devices/virtual/bivista/bv2", "ACTION=change",
                               "DEVPATH=/devices/virtual/bivista/bv2"}) {
        head.append(string).push_back('\0');
    }
    return head;
}

void tellClient(Draft& draft, size_t line, std::string_view name, bool isOldClient) {
    if (std::ranges::find(kOwn, name) != std::end(kOwn)) return;
    const bool isKnown = std::ranges::find(kClients, name) != std::end(kClients);
    const recording::Json arguments = {isKnown ? std::string(name) : "UNKNOWN", isKnown ? 0 : -1};
    draft.add({line, 1}, Kind::ClientCallback,
              isOldClient ? "IBivistaLpwgCallback.onLpwgEvent"
                          : "IBivistaLpwgCallback.onLpwgEvent_1_1",
              arguments.dump());
}

void addUevent(Draft& draft, const Thread& thread, size_t at, bool isOldClient) {
    const size_t line = thread.steps[at].line;
    std::string message = headOfUevent();
    message.append(draft.text(line).substr(kReceived.size())).push_back('\0');
    for (size_t next = at + 1; next < thread.steps.size() && next <= at + 2; ++next) {
        const size_t told = thread.steps[next].line;
        const std::string_view text = draft.text(told);
        if (thread.steps[next].exchange != nullptr || text.starts_with(kReceived)) break;
        if (text.starts_with(kNext)) {
            message.append(text.substr(kNext.size())).push_back('\0');
        } else if (text.starts_with(kName)) {
            tellClient(draft, told, text.substr(kName.size()), isOldClient);
        }
    }
    draft.add({line, -1}, Kind::Uevent, "", message);
}

// The phone's display, as the service's log thread finds it.
class Display {
  public:
    explicit Display(Draft& draft) : mDraft(draft) {}

    void set(size_t line, bool isOn) {
        // Of one length, so that the file never shrinks.
        const std::string content =
                isOn ? "PowerManagerService.Display\n" : std::string(27, ' ') + "\n";
        if (isOn == mIsOn) return;
        mIsOn = isOn;
        mDraft.add({line, -2}, Kind::NodeSet, phone::kWakeLock, content);
    }
    void startOff() {
        mIsOn = false;
        mDraft.header().files[phone::kWakeLock] = std::string(27, ' ') + "\n";
    }

  private:
    Draft& mDraft;
    bool mIsOn = true;
};

// A log thread that begins while the display is off says "resume" later.
bool beginsOff(const Draft& draft, const Thread& thread) {
    constexpr std::chrono::seconds kAtOnce(1);
    for (const Step& step : thread.steps) {
        const Line& line = draft.log().lines[step.line];
        if (line.text == "serialLogThread: suspend") return false;
        if (line.text != "serialLogThread: resume") continue;
        return line.time - draft.log().lines[thread.steps.front().line].time > kAtOnce;
    }
    return false;
}

void addThread(Draft& draft, const Thread& thread, const Devices& devices, Display& display) {
    for (const Step& step : thread.steps) {
        const Line& line = draft.log().lines[step.line];
        if (line.text == "serialLogThread: suspend") display.set(step.line, false);
        if (line.text == "serialLogThread: resume") display.set(step.line, true);
        if (line.priority != 'I' || line.text.starts_with("serialLogThread")) continue;
        draft.add({step.line, -1}, Kind::TtyTx, devices.ttyAt(step.line), line.text + "\r\n");
    }
}

}  // namespace

void addUevents(Draft& draft, const Threads& threads) {
    bool isAny = false;
    // Lines from which on the client's callback is of the first version, or is not.
    std::map<size_t, bool> clients = {{0, false}};
    for (size_t line = 0; line < draft.log().lines.size(); ++line) {
        const std::string_view text = draft.text(line);
        if (text.starts_with("Registering 1.")) clients[line] = text.starts_with("Registering 1.0");
    }
    for (const Thread& thread : threads.threads) {
        if (thread.role != Role::Uevent) continue;
        for (size_t at = 0; at < thread.steps.size(); ++at) {
            if (thread.steps[at].exchange != nullptr) continue;
            if (!draft.text(thread.steps[at].line).starts_with(kReceived)) continue;
            const size_t line = thread.steps[at].line;
            addUevent(draft, thread, at, std::prev(clients.upper_bound(line))->second);
            isAny = true;
        }
    }
    if (isAny) {
        draft.missing(
                "Of a kernel event the log has two strings: action and device before them "
                "are assumed, and events of other subsystems are missing.");
    }
}

void addPenCalls(Draft& draft) {
    constexpr std::string_view kDone = "manageAesMode : ATCMD_Status : ";
    const std::vector<Line>& lines = draft.log().lines;
    std::map<int, size_t> commands;  // the last command for the pen, by thread
    std::map<int, size_t> writes;
    for (size_t line = 0; line < lines.size(); ++line) {
        const std::string_view text = lines[line].text;
        const bool isCommand = text.find("cmd:[AT%TCHNOTIFY=SWTICH_AES,") != npos;
        if (isCommand) commands[lines[line].tid] = line;
        if (text.starts_with("Writing ")) writes[lines[line].tid] = line;
        if (!text.starts_with(kDone) || !commands.contains(lines[line].tid)) continue;
        const size_t command = commands[lines[line].tid];
        const std::string result(text.substr(text.rfind(' ') + 1));
        const bool isFirst = draft.text(command).ends_with(",1]");
        const Place place = isFirst ? Place{line, -1} : Place{command, -2};
        draft.add(place, Kind::HidlCall, "ILpwg.setAesModeToLpwg", isFirst ? "2" : "0", result);
        draft.missing(line, "whether the phone has a pen service is not known: one that answers " +
                                    result + " is assumed");
    }
}

void addCoverLog(Draft& draft, const Threads& threads, const Devices& devices) {
    Display display(draft);
    bool isFirst = true;
    for (const Thread& thread : threads.threads) {
        if (thread.role != Role::SerialLog) continue;
        if (isFirst && beginsOff(draft, thread)) display.startOff();
        isFirst = false;
        addThread(draft, thread, devices, display);
    }
}

void addSignals(Draft& draft) {
    // The thread that watches /dev is told first.
    constexpr std::string_view kTold = "usbNotifyThread: failed to read notify: ";
    size_t told = SIZE_MAX;
    for (size_t line = 0; line < draft.log().lines.size(); ++line) {
        const std::string_view text = draft.text(line);
        if (text.starts_with(kTold)) told = line;
        if (text != "destroy set") continue;
        draft.add({std::min(told, line), -5}, Kind::Signal, "", "USR1");
        draft.infer(line, "SIGUSR1 from \"destroy set\"");
        told = SIZE_MAX;
    }
}

void addImages(Draft& draft) {
    constexpr uint64_t kSize = 1000;
    constexpr std::string_view kLook = "getDFUFile: ";
    std::map<std::string, uint64_t>& images = draft.header().images;
    for (const Line& line : draft.log().lines) {
        std::string_view text = line.text;
        if (!text.starts_with(kLook)) continue;
        text.remove_prefix(kLook.size());
        const size_t local = text.find(" LOCAL: ");
        if (text.starts_with("BV: ") && local != npos) {
            text.remove_prefix(local + 8);
            images[std::string(text.substr(0, text.find(", ")))] = kSize;
        } else if (text.ends_with(" selected")) {
            images[std::string(text.substr(0, text.find(' ')))] = kSize;
        }
    }
    if (!images.empty()) {
        draft.missing(
                "Of the images on the phone the log has those that were chosen or do not "
                "fit, without their sizes: 1000 bytes assumed.");
    }
}

}  // namespace phonelog
