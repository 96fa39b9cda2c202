// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Calls.h"

#include <algorithm>
#include <iterator>

#include "emulator/cover/Integers.h"
#include "emulator/phonelog/CallReader.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr std::string_view kLevel = "AT%DB=";

// What the worker says between two levels.
struct Worker {
    size_t first = SIZE_MAX;  // line of what belongs to the level
    bool waited = false;
    std::string mapped;  // the level before the offset; "": none
};

// "[dd] 128 -> 108"
std::string mappedLevel(std::string_view text) {
    constexpr std::string_view kBegin = "[dd] ";
    if (!text.starts_with(kBegin)) return "";
    text.remove_prefix(kBegin.size());
    return std::string(text.substr(0, text.find(' ')));
}

class BrightnessReader {
  public:
    BrightnessReader(Draft& draft, const Calls& calls) : mDraft(draft), mCalls(calls) {}

    void read(const Thread& thread);

  private:
    void takeLine(size_t line);
    void takeLevel(const Exchange& exchange);
    Place outsideCalls(Place place) const;

    Draft& mDraft;
    const Calls& mCalls;
    size_t mOffset = 0;  // of those that are not found yet
    Worker mWorker;
    size_t mLastSent = SIZE_MAX;
};

void BrightnessReader::read(const Thread& thread) {
    for (const Step& step : thread.steps) {
        if (step.exchange == nullptr) {
            takeLine(step.line);
        } else if (step.exchange->command.starts_with(kLevel)) {
            takeLevel(*step.exchange);
        }
    }
}

void BrightnessReader::takeLine(size_t line) {
    const std::string_view text = mDraft.text(line);
    if (text.starts_with("BrightnessThread: br_arr empty")) {
        mWorker = {SIZE_MAX, true, ""};
        return;
    }
    mWorker.first = std::min(mWorker.first, line);
    const std::string mapped = mappedLevel(text);
    if (!mapped.empty()) mWorker.mapped = mapped;
}

void BrightnessReader::takeLevel(const Exchange& exchange) {
    const size_t first = std::min(mWorker.first, exchange.first);
    const bool isOfOffset = mOffset < mCalls.offsets.size() && mCalls.offsets[mOffset] < first;
    if (isOfOffset) {
        ++mOffset;
    } else {
        const std::string text =
                mWorker.mapped.empty() ? exchange.command.substr(kLevel.size()) : mWorker.mapped;
        const std::string level = std::to_string(cover::parseInteger<int>(text).value_or(0));
        // Of a worker that did not wait, the level was queued while it sent the one before.
        const bool wasBusy = !mWorker.waited && mLastSent != SIZE_MAX;
        const Place place = outsideCalls(wasBusy ? Place{mLastSent, 3} : Place{first, -6});
        mDraft.addLasting(place, place.line, Kind::ClientCall, "IBivista.setBrightness",
                          "[" + level + "]", R"(["OK"])");
        mDraft.infer(exchange.first, "setBrightness(" + level + ") from " + exchange.command);
        ++mDraft.findings().calls;
    }
    mLastSent = exchange.sentAt == SIZE_MAX ? exchange.last : exchange.sentAt;
    mWorker = {};
}

// The service serves one call at a time.
Place BrightnessReader::outsideCalls(Place place) const {
    const auto after = std::ranges::lower_bound(mCalls.spans, place.line, {}, &Span::first);
    if (after == mCalls.spans.begin()) return place;
    const Span& span = *std::prev(after);
    if (place.line < span.last) return {span.first, -6};
    return place;
}

}  // namespace

void addBrightness(Draft& draft, const Threads& threads, const Calls& calls) {
    BrightnessReader reader(draft, calls);
    for (const Thread& thread : threads.threads) {
        if (thread.role == Role::Brightness) reader.read(thread);
    }
}

Calls addCalls(Draft& draft, const Threads& threads, const PanelStates& panel) {
    Calls calls;
    CallReader reader(draft, panel, calls);
    for (const Thread& thread : threads.threads) {
        if (thread.role == Role::Client) reader.read(thread);
    }
    std::ranges::sort(calls.spans, {}, &Span::first);
    return calls;
}

}  // namespace phonelog
