// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/LogCapture.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <string_view>

#include <android/log.h>
#include <utils/Mutex.h>

namespace support {

void PrintTo(const LogLine& line, std::ostream* stream) {
    *stream << line.tag << ' ' << line.priority << " \"" << line.text << '"';
}

struct LogCapture::Sink {
    android::Mutex lock;
    std::condition_variable_any added;
    std::vector<LogLine> lines GUARDED_BY(lock);
    bool active GUARDED_BY(lock) = false;
    bool echo GUARDED_BY(lock) = false;

    // Never destroyed: a thread of the software under test may log until the process ends.
    static Sink& instance() {
        static Sink& sink = *new Sink;
        return sink;
    }

    static void take(const __android_logger_data* data, const char* message) {
        Sink& sink = instance();
        bool echo = true;
        {
            const android::AutoMutex guard(sink.lock);
            if (sink.active) {
                const char* tag = data->tag == nullptr ? "" : data->tag;
                sink.lines.push_back({data->priority, tag, message});
                echo = sink.echo;
            }
        }
        sink.added.notify_all();
        if (echo) __android_log_stderr_logger(data, message);
    }
};

LogCapture::LogCapture(bool echo) : mSink(Sink::instance()) {
    {
        const android::AutoMutex guard(mSink.lock);
        if (mSink.active) abort();  // Two captures would share their lines.
        mSink.active = true;
        mSink.echo = echo;
        mSink.lines.clear();
    }
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&Sink::take);
}

LogCapture::~LogCapture() {
    // The logger stays: exchanging it while another thread logs is not safe.
    const android::AutoMutex guard(mSink.lock);
    mSink.active = false;
}

std::vector<LogLine> LogCapture::lines() const {
    const android::AutoMutex guard(mSink.lock);
    return mSink.lines;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> texts;
    for (LogLine& line : lines()) texts.push_back(std::move(line.text));
    return texts;
}

size_t LogCapture::size() const {
    const android::AutoMutex guard(mSink.lock);
    return mSink.lines.size();
}

bool LogCapture::contains(const std::string& text) const {
    return count(text) != 0;
}

bool LogCapture::contains(int priority, const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return std::any_of(all.begin(), all.end(), [&](const LogLine& line) {
        return line.priority == priority && line.text == text;
    });
}

size_t LogCapture::count(const std::string& text) const {
    const std::vector<std::string> all = texts();
    return static_cast<size_t>(std::count(all.begin(), all.end(), text));
}

size_t LogCapture::waitFor(const std::string& text, size_t from) const {
    return waitUntil([&](const LogLine& line) { return line.text == text; }, from);
}

size_t LogCapture::waitFor(int priority, const std::string& text, size_t from) const {
    return waitUntil(
            [&](const LogLine& line) { return line.priority == priority && line.text == text; },
            from);
}

size_t LogCapture::waitForPrefix(const std::string& prefix, size_t from) const {
    return waitUntil(
            [&](const LogLine& line) { return line.text.compare(0, prefix.size(), prefix) == 0; },
            from);
}

size_t LogCapture::waitUntil(const std::function<bool(const LogLine&)>& match, size_t from) const {
    const android::AutoMutex guard(mSink.lock);
    for (size_t next = from;; ++next) {
        while (next >= mSink.lines.size()) mSink.added.wait(mSink.lock);
        if (match(mSink.lines[next])) return next + 1;
    }
}

void LogCapture::clear() {
    const android::AutoMutex guard(mSink.lock);
    mSink.lines.clear();
}

}  // namespace support
