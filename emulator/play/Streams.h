// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What came of the phone so far: the entries of its journal, and the lines of its service's log.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include <android-base/unique_fd.h>
#include <nlohmann/json.hpp>

#include "emulator/phone/Entry.h"

namespace play {

// Elements with numbers 0, 1, 2, ... Beyond its bounds it forgets the oldest ones.
template <typename Element>
class Stream {
  public:
    static constexpr size_t kMost = 200'000;
    static constexpr size_t kMostBytes = 64 << 20;

    // `bytes`: those of its texts.
    void add(Element element, size_t bytes) {
        mElements.emplace_back(std::move(element), bytes);
        mBytes += bytes;
        while (mElements.size() > kMost || (mBytes > kMostBytes && mElements.size() > 1)) {
            mBytes -= mElements.front().second;
            mElements.pop_front();
            ++mBegin;
        }
    }

    size_t begin() const { return mBegin; }
    size_t end() const { return mBegin + mElements.size(); }
    const Element& operator[](size_t number) const { return mElements[number - mBegin].first; }

  private:
    std::deque<std::pair<Element, size_t>> mElements;
    size_t mBegin = 0;
    size_t mBytes = 0;
};

// A line of the log. Lines that are none of liblog's have no priority: ' '.
struct LogLine {
    char priority = ' ';
    std::string tag;
    std::string text;
};

// "TAG P MM-DD HH:MM:SS.mmm pid tid text", as host/log writes it.
LogLine parseLogLine(const std::string& line);

// A log that another program writes, read as it grows.
class LogFile {
  public:
    // Throws phone::Error when the file cannot be read. None: an empty path.
    explicit LogFile(const std::string& path);

    // Takes in the whole lines that have been written since, and adds them.
    void readInto(Stream<LogLine>& lines);
    // What has been written so far is not read.
    void skip();

  private:
    android::base::unique_fd mFile;
    std::string mRest;  // of a line whose end is not written yet
};

struct Streams {
    Stream<phone::Entry> entries;
    Stream<LogLine> lines;
};

// Adds an entry; false when the object is none.
bool addEntry(const nlohmann::ordered_json& object, Stream<phone::Entry>& entries);

}  // namespace play
