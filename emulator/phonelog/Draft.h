// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recording that is being made out of a log: entries in any order, each at a line of the log.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "emulator/phonelog/ServiceLog.h"
#include "emulator/recording/Recording.h"

namespace phonelog {

// Of an entry: a line, by its index in the log, and the order among the entries at that line.
// Negative: before what the line tells.
struct Place {
    size_t line = 0;
    int order = 0;

    auto operator<=>(const Place&) const = default;
};

// What was found, for people.
struct Findings {
    size_t attachments = 0;
    size_t exchanges = 0;
    size_t calls = 0;
    size_t frames = 0;
    std::vector<Remark> inferred;  // from a line of the log
    std::vector<Remark> unknown;   // what the log does not tell
};

class Draft {
  public:
    // Remarks tell no texts of clients when it redacts.
    Draft(const ServiceLog& log, bool redacts) : mLog(log), mRedacts(redacts) {
        mFindings.unknown = log.remarks;
    }

    const ServiceLog& log() const { return mLog; }
    const std::string& text(size_t line) const { return mLog.lines[line].text; }

    // Throws TooLong when the recording becomes longer than a replay reads.
    void add(Place place, phone::Kind kind, std::string path, std::string bytes = {},
             std::string note = {});
    // An entry that lasts until `end`.
    void addLasting(Place place, size_t end, phone::Kind kind, std::string path, std::string bytes,
                    std::string note);
    // A control file is opened, written and closed.
    void addWrite(Place place, const std::string& path, const std::string& bytes, bool truncates);
    // Takes back what is added at this line, of this file.
    void takeBackWrite(size_t line, const std::string& path) { mTakenBack.emplace(line, path); }

    // For people: with the line that led to it.
    void infer(size_t line, std::string text);
    // Part of the recording, too.
    void missing(size_t line, std::string text);
    void missing(std::string text);
    // A client's command, as a remark may show it.
    std::string shown(const std::string& command) const;
    // The log does not tell all of this lane.
    void notWhole(const std::string& lane) { mNotWhole.insert(lane); }

    Findings& findings() { return mFindings; }
    // After finish().
    Findings takeFindings();
    recording::Header& header() { return mHeader; }
    recording::Recording finish();

  private:
    struct Placed {
        Place place;
        size_t end = SIZE_MAX;
        phone::Entry entry;
    };

    const ServiceLog& mLog;
    const bool mRedacts;
    size_t mBytes = 0;  // of the entries
    std::vector<std::string> mUntold;
    std::vector<Placed> mEntries;
    recording::Header mHeader;
    Findings mFindings;
    std::set<std::string> mNotWhole;
    std::set<std::pair<size_t, std::string>> mTakenBack;
};

}  // namespace phonelog
