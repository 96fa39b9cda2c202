// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Threads.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace phonelog {

namespace {

struct Sign {
    std::string_view begin;
    Role role;
};

// What a thread says when it starts. The number of one that has ended may come back.
constexpr Sign kStarts[] = {
        {"usbNotifyThread: creating", Role::Notify},
        {"usbThread: creating", Role::Usb},
        {"serialLogThread: creating", Role::SerialLog},
        {"creating thread", Role::Uevent},
        {"Sub DISPLAY UPDATE Thread is running", Role::Update},
};

// Lines of one thread alone, which tell it in a log that begins later.
constexpr Sign kSigns[] = {
        {"usbNotifyThread: ", Role::Notify},
        {"serialDeviceAdded: ", Role::Notify},
        {"serialDeviceRemoved: ", Role::Notify},
        {"bv2_display_init", Role::Notify},
        {"bv2_display_deinit", Role::Notify},
        {"hidDisplayDevice", Role::Notify},
        {"initSubDisplay", Role::Notify},
        {"serialLogEnable: ", Role::Notify},
        {"usbThread: ", Role::Usb},
        {"usbDeviceAdded", Role::Usb},
        {"========== Bivista Attached", Role::Usb},
        {"========== Bivista Una", Role::Usb},
        {"BrightnessThread: ", Role::Brightness},
        {"serialLogThread", Role::SerialLog},
        {"uevent received ", Role::Uevent},
        {"cp1 = ", Role::Uevent},
        {"Uevent_msg = ", Role::Uevent},
        {"FB0 is being", Role::Update},
        {"FB1 is being", Role::Update},
        {"HID-DISPLAY: write ", Role::Update},
        {"There is no buffer to", Role::Update},
};

// Of the brightness worker alone.
constexpr std::string_view kLevel = "AT%DB=";

std::optional<Role> find(const auto& signs, std::string_view text) {
    for (const Sign& sign : signs) {
        if (text.starts_with(sign.begin)) return sign.role;
    }
    return std::nullopt;
}

class Reader {
  public:
    explicit Reader(Draft& draft) : mDraft(draft) {}

    Threads read();

  private:
    struct State {
        Thread* thread = nullptr;
        std::optional<Role> role;
        std::unique_ptr<ExchangeReader> exchanges;
    };

    State& stateOf(const Line& line);
    void take(State& state, size_t line);
    void keepExchange(State& state);
    bool isCoverLog(const Thread& thread) const;
    void end(State& state);

    Draft& mDraft;
    std::map<int, State> mStates;
    Threads mThreads;
};

Reader::State& Reader::stateOf(const Line& line) {
    State& state = mStates[line.tid];
    const std::optional<Role> start = find(kStarts, line.text);
    if (state.thread == nullptr || (start && !state.thread->steps.empty())) {
        end(state);
        state.thread = &mThreads.threads.emplace_back();
        state.thread->tid = line.tid;
        state.exchanges = std::make_unique<ExchangeReader>(mDraft);
        state.role = start;
    }
    if (!state.role) state.role = find(kSigns, line.text);
    return state;
}

void Reader::take(State& state, size_t line) {
    const std::string_view text = mDraft.text(line);
    if (text.starts_with("usbAutoSuspend: ")) {
        // The vote is withdrawn after an answer, also after one whose end is lost.
        if (text.starts_with("usbAutoSuspend: suspend:1 vote:1")) state.exchanges->close(line);
        return keepExchange(state);
    }
    if (!state.exchanges->take(line, text)) state.thread->steps.push_back({line});
    keepExchange(state);
}

void Reader::keepExchange(State& state) {
    std::optional<Exchange> exchange = state.exchanges->done();
    if (!exchange) return;
    if (!state.role && exchange->command.starts_with(kLevel) &&
        state.thread->tid != mDraft.log().pid) {
        state.role = Role::Brightness;
    }
    const size_t first = exchange->first;
    state.thread->steps.push_back({first, &mThreads.exchanges.emplace_back(*std::move(exchange))});
}

// In a log that begins later, the thread of the cover's log has nothing but that.
bool Reader::isCoverLog(const Thread& thread) const {
    return !thread.steps.empty() && std::ranges::all_of(thread.steps, [this](const Step& step) {
        return step.exchange == nullptr && mayBeCovers(mDraft.log().lines[step.line]);
    });
}

void Reader::end(State& state) {
    if (state.thread == nullptr) return;
    state.exchanges->close(mDraft.log().lines.size() - 1);
    keepExchange(state);
    state.thread->role =
            state.role.value_or(isCoverLog(*state.thread) ? Role::SerialLog : Role::Client);
}

Threads Reader::read() {
    const std::vector<Line>& lines = mDraft.log().lines;
    for (size_t line = 0; line < lines.size(); ++line) take(stateOf(lines[line]), line);
    for (auto& [tid, state] : mStates) end(state);
    for (Thread& thread : mThreads.threads) std::ranges::stable_sort(thread.steps, {}, &Step::line);
    return std::move(mThreads);
}

}  // namespace

Threads readThreads(Draft& draft) {
    return Reader(draft).read();
}

}  // namespace phonelog
