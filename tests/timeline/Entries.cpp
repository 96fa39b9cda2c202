// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/timeline/Entries.h"

#include <cstdio>
#include <utility>

namespace timeline {

using std::chrono::microseconds;

namespace {

microseconds fromMs(double ms) {
    return microseconds(static_cast<int64_t>(ms * 1000));
}

}  // namespace

Entries& Entries::add(double ms, phone::Kind kind, std::string path, std::string bytes,
                      std::string note) {
    mEntries.push_back({mNext++, fromMs(ms), microseconds(kWallUs) + fromMs(ms), kind,
                        std::move(path), std::move(bytes), std::move(note)});
    return *this;
}

Entries& Entries::lasting(double ms, double durationMs, phone::Kind kind, std::string path,
                          std::string bytes, std::string note) {
    add(ms, kind, std::move(path), std::move(bytes), std::move(note));
    mEntries.back().duration = fromMs(durationMs);
    return *this;
}

Entries& Entries::report(double ms, int offset, size_t size, std::string note) {
    std::string bytes = {2};
    for (const size_t number : {size, size >> 8}) bytes += static_cast<char>(number & 0xff);
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(offset >> shift & 0xff);
    return add(ms, phone::Kind::HidWrite, kPanel, bytes + std::string(size, '\0'), std::move(note));
}

std::vector<Item> itemsOf(const Entries& entries, bool ended) {
    Timeline timeline;
    for (const phone::Entry& entry : entries.list()) timeline.add(entry);
    if (ended) timeline.end();
    return timeline.take();
}

std::string describeItem(const Item& item) {
    char duration[32];
    snprintf(duration, sizeof(duration), "%g ms", static_cast<double>(item.durationUs) / 1000);
    std::string text = item.kind + " " + std::to_string(item.id);
    if (item.last != item.id) text += "-" + std::to_string(item.last);
    text += " \"" + item.title + "\"";
    if (!item.detail.empty()) text += " \"" + item.detail + "\"";
    if (!item.verdict.empty()) text += " " + item.verdict;
    if (item.durationUs != 0) text += std::string(" ") + duration;
    if (item.faulty) text += ", faulty";
    if (item.open) text += ", open";
    return text;
}

std::vector<std::string> describeAll(const std::vector<Item>& items) {
    return without("", items);
}

std::vector<std::string> without(const char* kind, const std::vector<Item>& items) {
    std::vector<std::string> lines;
    for (const Item& item : items) {
        if (item.kind != kind) lines.push_back(describeItem(item));
    }
    return lines;
}

}  // namespace timeline
