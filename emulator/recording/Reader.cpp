// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <tuple>
#include <utility>

#include "emulator/cover/Text.h"
#include "emulator/recording/EntryCheck.h"
#include "emulator/recording/Header.h"

namespace recording {

namespace {

namespace fs = std::filesystem;

using phone::Entry;

std::string mib(uintmax_t bytes) {
    return std::to_string(bytes >> 20) + " MiB";
}

// The lines of a file, one at a time.
class Lines {
  public:
    explicit Lines(const fs::path& file) : mName(file.string()), mStream(file, std::ios::binary) {
        if (!mStream) throw Wrong(mName + ": " + strerror(errno));
    }

    // False at the end of the file.
    bool next() {
        mLine.clear();
        mIsWhole = false;
        ++mNumber;
        std::streambuf& buffer = *mStream.rdbuf();
        for (int c = buffer.sbumpc(); c != std::char_traits<char>::eof(); c = buffer.sbumpc()) {
            // The file may have grown since it was looked at.
            if (++mBytes > kMostBytes) fail("the recording is longer than " + mib(kMostBytes));
            if (c == '\n') {
                mIsWhole = true;
                return true;
            }
            if (mLine.size() == kLongestLine) fail("the line is longer than " + mib(kLongestLine));
            mLine += static_cast<char>(c);
        }
        return !mLine.empty();
    }

    const std::string& line() const { return mLine; }
    // Whether the line has its end.
    bool isWhole() const { return mIsWhole; }

    std::string tell(const std::string& what) const {
        return mName + ":" + std::to_string(mNumber) + ": " + what;
    }
    [[noreturn]] void fail(const std::string& what) const { throw Wrong(tell(what)); }

  private:
    const std::string mName;
    std::ifstream mStream;
    std::string mLine;
    bool mIsWhole = false;
    size_t mNumber = 0;
    size_t mBytes = 0;
};

// Everything is printable ASCII: entries spell all other bytes.
std::string checkBytes(const std::string& line) {
    const auto isText = [](char c) { return c >= 0x20 && c <= 0x7e; };
    const auto wrong = std::ranges::find_if_not(line, isText);
    if (wrong == line.end()) return "";
    return "column " + std::to_string(wrong - line.begin() + 1) + ": the byte " +
           cover::quote({&*wrong, 1}) + " is no text";
}

// What is wrong with the line, or "".
std::string parse(const std::string& line, Json* object) {
    std::string wrong = checkBytes(line);
    if (!wrong.empty()) return wrong;
    try {
        // Nesting costs memory many times its text; each member is looked for among those before
        // it.
        size_t members = 0;
        *object = Json::parse(line, [&](int depth, Json::parse_event_t event, Json& /*part*/) {
            constexpr int kDeepest = 8;
            constexpr size_t kMostMembers = 10'000;
            if (depth > kDeepest) throw std::length_error("it is nested too deeply");
            if (event == Json::parse_event_t::key && ++members > kMostMembers) {
                throw std::length_error("it has too many members");
            }
            return true;
        });
    } catch (const std::length_error& error) {
        wrong = std::string("is no entry of a journal: ") + error.what();
    } catch (const Json::parse_error& error) {
        wrong = "column " + std::to_string(error.byte) + ": is no JSON";
    } catch (const Json::exception&) {
        wrong = "is no JSON: a number is too large";
    }
    return wrong;
}

class Reader {
  public:
    explicit Reader(const fs::path& file) : mLines(file) {}

    Recording read() {
        while (mLines.next()) {
            Json object;
            const std::string wrong = parse(mLines.line(), &object);
            if (!wrong.empty() && !mLines.isWhole() && !mIsFirst) {
                mRecording.notes.push_back(
                        mLines.tell("the last line is cut off, and is left out"));
                break;
            }
            if (!wrong.empty()) mLines.fail(wrong);
            take(object);
            mIsFirst = false;
        }
        if (mIsFirst) mLines.fail("the file is empty");
        if (mUnknown > 0) {
            mRecording.notes.push_back(mFirstUnknown + " (" + std::to_string(mUnknown) +
                                       " entries of unknown kinds are left out)");
        }
        std::ranges::stable_sort(mRecording.entries, {}, [](const Entry& entry) {
            return std::tuple(entry.time, entry.seq);
        });
        return std::move(mRecording);
    }

  private:
    void take(const Json& object) {
        if (isHeader(object)) {
            if (!mIsFirst) mLines.fail("another recording begins here: the file is mixed");
            const std::string wrong = readHeader(object, &mRecording.header);
            if (!wrong.empty()) mLines.fail(wrong);
            return;
        }
        const std::string wrong = whyNoEntry(object);
        if (!wrong.empty()) mLines.fail(wrong);
        if (mIsFirst) mRecording.header.version = 1;
        takeSeq(object["seq"].get<uint64_t>());
        if (mRecording.entries.size() == kMostEntries) {
            mLines.fail("the recording has more than " + std::to_string(kMostEntries) + " entries");
        }
        const auto& kind = object["kind"].get_ref<const std::string&>();
        if (!phone::kindOf(kind)) {
            if (mUnknown++ == 0) {
                mFirstUnknown = mLines.tell("the kind " + cover::quote(kind) + " is unknown");
            }
            return;
        }
        std::optional<Entry> entry = phone::fromJson(object);
        if (!entry) mLines.fail("the entry's \"wall_us\" must be microseconds, 0 or more");
        if (entry->kind == phone::Kind::Attach && ++mAttaches > kMostAttaches) {
            mLines.fail("more than " + std::to_string(kMostAttaches) + " devices are attached");
        }
        mRecording.entries.push_back(*std::move(entry));
    }

    // A journal's file has every entry, in the order of their numbers.
    void takeSeq(uint64_t seq) {
        const uint64_t last = std::exchange(mLastSeq, seq);
        if (seq == last + 1) return;
        const std::string text = "entry " + std::to_string(seq);
        if (last == 0) mLines.fail("the first is " + text + ": those before it are missing");
        const std::string after = text + " follows entry " + std::to_string(last);
        mLines.fail(after + (seq <= last ? ": the file is mixed" : ": those between are missing"));
    }

    Lines mLines;
    Recording mRecording;
    bool mIsFirst = true;
    uint64_t mLastSeq = 0;
    size_t mAttaches = 0;
    size_t mUnknown = 0;
    std::string mFirstUnknown;
};

}  // namespace

Recording read(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (error) throw Wrong(file.string() + ": " + error.message());
    // A FIFO may have no writer, and a device no end.
    if (!fs::is_regular_file(status)) throw Wrong(file.string() + ": is not a regular file");
    const uintmax_t size = fs::file_size(file, error);
    if (!error && size > kMostBytes) {
        throw Wrong(file.string() + ": has " + mib(size) + ", and a recording " + mib(kMostBytes) +
                    " at most");
    }
    return Reader(file).read();
}

}  // namespace recording
