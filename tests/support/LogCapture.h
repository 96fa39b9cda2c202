// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Records what is written to the Android log while it lives. One at a time; any thread may log and
// ask.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace support {

struct LogLine {
    int priority = 0;  // 3 debug, 4 info, 6 error
    std::string tag;
    std::string text;  // as logged, its "\n" included

    bool operator==(const LogLine&) const = default;
};
// For GoogleTest's messages.
void PrintTo(const LogLine& line, std::ostream* stream);

class LogCapture {
  public:
    // `echo`: the lines go to standard error too.
    explicit LogCapture(bool echo = false);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Lines so far, in order.
    std::vector<LogLine> lines() const;
    std::vector<std::string> texts() const;
    // How many lines there are: the index of the next one.
    size_t size() const;

    bool contains(const std::string& text) const;
    bool contains(int priority, const std::string& text) const;
    size_t count(const std::string& text) const;

    // Waits for a line, from index `from` on, with exactly this text (and priority), or that begins
    // so; returns the index after it. A line that never comes hangs, and the test's time limit ends
    // it.
    size_t waitFor(const std::string& text, size_t from = 0) const;
    size_t waitFor(int priority, const std::string& text, size_t from = 0) const;
    size_t waitForPrefix(const std::string& prefix, size_t from = 0) const;
    size_t waitUntil(const std::function<bool(const LogLine&)>& match, size_t from = 0) const;

    // Forgets the lines so far.
    void clear();

  private:
    struct Sink;
    Sink& mSink;
};

}  // namespace support
