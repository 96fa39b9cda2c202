// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/JournalLines.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <vector>

#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/Colour.h"
#include "cli/Output.h"
#include "emulator/timeline/Line.h"
#include "emulator/timeline/Timeline.h"

namespace emulator {

using timeline::Item;

namespace {

cli::Colour colourOf(const Item& item) {
    constexpr std::string_view kGood[] = {"", "OK", "drawn", "written"};
    const bool isGood = std::ranges::find(kGood, item.verdict) != std::end(kGood);
    return isGood && !item.faulty ? cli::Colour::GOOD : cli::Colour::BAD;
}

// 0 where it is no terminal, or one that does not tell.
size_t terminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string inColour(const Item& item, size_t width) {
    const timeline::Line line = timeline::lineOf(item, width);
    return line.text +
           (line.verdict.empty() ? "" : cli::inColour(colourOf(item), line.verdict, STDOUT_FILENO));
}

// The items that can be printed now; the others wait.
class Lines {
  public:
    explicit Lines(const timeline::Filter& filter) : mFilter(filter) {}

    void add(const Json& entries) {
        for (const Json& object : entries) mTimeline.add(entryOf(object));
        for (Item& item : mTimeline.take()) {
            mOpen.erase(item.id);
            if (!mFilter.takes(item)) continue;
            if (item.open) {
                mOpen[item.id] = std::move(item);
            } else {
                mClosed.push_back(std::move(item));
            }
        }
    }

    void printClosed() {
        std::ranges::sort(mClosed, {}, [](const Item& item) {
            return std::tuple(item.beginUs, -item.durationUs, item.id);
        });
        constexpr size_t kPiece = 1 << 16;
        const size_t width = terminalWidth();
        std::string text;
        for (const Item& item : mClosed) {
            text += inColour(item, width) + "\n";
            if (text.size() < kPiece) continue;
            cli::printOrFail(text);
            text.clear();
        }
        mClosed.clear();
        cli::printOrFail(text);
    }

    void printAll() {
        for (auto& [id, item] : mOpen) mClosed.push_back(std::move(item));
        mOpen.clear();
        printClosed();
    }

  private:
    const timeline::Filter& mFilter;
    timeline::Timeline mTimeline;
    std::map<uint64_t, Item> mOpen;
    std::vector<Item> mClosed;
};

}  // namespace

void printLines(JournalPages& pages, const timeline::Filter& filter, bool follow) {
    Lines lines(filter);
    bool waits = false;
    while (const std::optional<Json> entries = pages.next(waits)) {
        lines.add(*entries);
        const bool isEnd = entries->empty();
        if (isEnd && !follow) break;
        // What is there already is printed in one order.
        waits = waits || isEnd;
        if (waits) lines.printClosed();
    }
    lines.printAll();
}

}  // namespace emulator
