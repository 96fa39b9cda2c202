// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Streams.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "emulator/phone/Error.h"

namespace play {

namespace {

// The logger cuts messages at 1,023 characters; a longer line is no message.
constexpr size_t kLongestLine = 1 << 16;

// Takes the next word off the text; the columns of numbers are filled up with spaces.
std::string_view takeWord(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

bool isNumber(std::string_view word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isTime(std::string_view word) {
    return word.size() == std::string_view("HH:MM:SS.mmm").size() && word[2] == ':' &&
           word[5] == ':' && word[8] == '.';
}

}  // namespace

LogLine parseLogLine(const std::string& line) {
    std::string_view rest = line;
    const std::string tag(takeWord(rest));
    const std::string_view priority = takeWord(rest);
    takeWord(rest);  // the day
    const bool isMessage = priority.size() == 1 && isTime(takeWord(rest)) &&
                           isNumber(takeWord(rest)) && isNumber(takeWord(rest));
    if (!isMessage) return {' ', "", line};
    return {priority[0], tag, std::string(rest)};
}

LogFile::LogFile(const std::string& path) {
    if (path.empty()) return;
    // A FIFO would wait for its writer.
    mFile.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!mFile.ok()) phone::throwErrno("cannot read the log " + path);
}

void LogFile::readInto(Stream<LogLine>& lines) {
    // A writer that is faster than this reader must not hold it.
    size_t left = 16 << 20;
    char buffer[1 << 16];
    while (mFile.ok() && left > 0) {
        const ssize_t count = read(mFile.get(), buffer, std::min(left, sizeof(buffer)));
        if (count <= 0) return;
        left -= static_cast<size_t>(count);
        mRest.append(buffer, static_cast<size_t>(count));
        size_t begin = 0;
        for (size_t end; (end = mRest.find('\n', begin)) != std::string::npos; begin = end + 1) {
            lines.add(parseLogLine(mRest.substr(begin, end - begin)), end - begin);
        }
        mRest.erase(0, begin);
        if (mRest.size() > kLongestLine) mRest.clear();
    }
}

void LogFile::skip() {
    if (mFile.ok()) lseek(mFile.get(), 0, SEEK_END);
}

bool addEntry(const nlohmann::ordered_json& object, Stream<phone::Entry>& entries) {
    std::optional<phone::Entry> entry = phone::fromJson(object);
    if (!entry) return false;
    const size_t bytes = entry->path.size() + entry->bytes.size() + entry->note.size();
    entries.add(*std::move(entry), bytes);
    return true;
}

}  // namespace play
