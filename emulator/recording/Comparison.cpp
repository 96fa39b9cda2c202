// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>
#include <tuple>

#include "emulator/recording/Deeds.h"

namespace recording {

using phone::Entry;

namespace {

bool isHeld(const Header& header, const std::string& lane) {
    if (lane.empty()) return false;
    if (header.lanes.empty()) return true;
    return std::ranges::any_of(header.lanes, [&lane](const std::string& held) {
        return lane == held || lane.starts_with(held + " ");
    });
}

// The first place at which a lane differs, if any.
std::optional<Difference> firstOf(const std::string& lane, const Header& header,
                                  const Deeds& recorded, const Deeds& replayed) {
    const size_t most = std::max(recorded.size(), replayed.size());
    for (size_t i = 0; i < most; ++i) {
        const Entry* left = i < recorded.size() ? recorded[i] : nullptr;
        const Entry* right = i < replayed.size() ? replayed[i] : nullptr;
        if (left != nullptr && right != nullptr && isSame(header, *left, *right)) continue;
        return Difference{lane, left, right};
    }
    return std::nullopt;
}

size_t placeOf(const Deeds& deeds, const Entry* entry) {
    return static_cast<size_t>(std::ranges::find(deeds, entry) - deeds.begin());
}

}  // namespace

Deeds deedsOf(const Header& header, const std::vector<Entry>& entries) {
    Deeds deeds;
    for (const Entry& entry : entries) {
        if (isHeld(header, laneOf(entry))) deeds.push_back(&entry);
    }
    std::ranges::stable_sort(
            deeds, {}, [](const Entry* entry) { return std::tuple(entry->time, entry->seq); });
    return deeds;
}

std::map<std::string, Deeds> byLane(const Deeds& deeds) {
    std::map<std::string, Deeds> lanes;
    for (const Entry* entry : deeds) lanes[laneOf(*entry)].push_back(entry);
    return lanes;
}

bool isSame(const Header& header, const Entry& recorded, const Entry& replayed) {
    const bool isOfLog = header.source == "log";
    const auto agree = [isOfLog](const std::string& left, const std::string& right) {
        return left == right || (isOfLog && left.empty());
    };
    if (recorded.kind != replayed.kind || !agree(recorded.path, replayed.path)) return false;
    if (!agree(recorded.bytes, replayed.bytes)) return false;
    // Whether a client took the call was up to the client, which may have died.
    return recorded.kind == phone::Kind::ClientCallback || agree(recorded.note, replayed.note);
}

Comparison compare(const Recording& recorded, const std::vector<Entry>& replayed) {
    const Deeds left = deedsOf(recorded.header, recorded.entries);
    const Deeds right = deedsOf(recorded.header, replayed);
    std::map<std::string, Deeds> leftLanes = byLane(left);
    std::map<std::string, Deeds> rightLanes = byLane(right);
    for (const auto& [lane, deeds] : rightLanes) leftLanes.try_emplace(lane);
    Comparison comparison;
    comparison.compared = left.size();
    for (const auto& [lane, deeds] : leftLanes) {
        const auto found = firstOf(lane, recorded.header, deeds, rightLanes[lane]);
        if (found) comparison.differences.push_back(*found);
    }
    // A deed that the recording lacks stands where as many others were done before it: the paces of
    // both differ.
    std::ranges::stable_sort(comparison.differences, {}, [&](const Difference& difference) {
        return difference.recorded != nullptr ? placeOf(left, difference.recorded)
                                              : placeOf(right, difference.replayed);
    });
    return comparison;
}

}  // namespace recording
