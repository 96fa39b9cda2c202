// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/FaultWords.h"

#include <algorithm>
#include <array>

#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"

namespace cover {
namespace {

struct Unit {
    std::string_view name;
    Time time;
};

constexpr std::array<Unit, 3> kUnits = {{
        {"s", std::chrono::seconds(1)},
        {"ms", std::chrono::milliseconds(1)},
        {"us", std::chrono::microseconds(1)},
}};

constexpr Time kLongest = std::chrono::hours(24);
constexpr std::string_view kBlanks = " \t\r\n";

// Cuts a line into words. On an error: no more words, and what is wrong.
class Words {
  public:
    explicit Words(std::string_view line) : mRest(line) { skipBlanks(); }

    bool atEnd() const { return mRest.empty(); }

    std::optional<Word> next(std::string& error) {
        std::optional<Word> word = mRest.front() == '"' ? quoted(error) : bare(error);
        skipBlanks();
        return word;
    }

  private:
    void skipBlanks() {
        mRest.remove_prefix(std::min(mRest.find_first_not_of(kBlanks), mRest.size()));
    }

    std::optional<Word> bare(std::string& error) {
        const std::string_view text = mRest.substr(0, mRest.find_first_of(kBlanks));
        for (const char c : text) {
            if (c >= 0x21 && c <= 0x7e && c != '"' && c != '\\') continue;
            error = quote(text) + " holds a character that must be quoted; write it between \"\"";
            return std::nullopt;
        }
        mRest.remove_prefix(text.size());
        return Word{std::string(text), false};
    }

    std::optional<Word> quoted(std::string& error) {
        const size_t end = closingQuote();
        if (end == std::string_view::npos) {
            error = "a quoted text does not end; close it with \"";
            return std::nullopt;
        }
        const std::string_view spelt = mRest.substr(1, end - 1);
        mRest.remove_prefix(end + 1);
        std::optional<std::string> text = unescape(spelt);
        if (!text) {
            error = "unknown escape in " + quote(spelt) +
                    "; write one of \\r \\n \\t \\\\ \\\" or \\xHH";
            return std::nullopt;
        }
        if (!mRest.empty() && kBlanks.find(mRest.front()) == std::string_view::npos) {
            error = "put a blank behind the quoted text " + quote(*text);
            return std::nullopt;
        }
        return Word{std::move(*text), true};
    }

    size_t closingQuote() const {
        for (size_t i = 1; i < mRest.size(); ++i) {
            if (mRest[i] == '\\') {
                ++i;
            } else if (mRest[i] == '"') {
                return i;
            }
        }
        return std::string_view::npos;
    }

    std::string_view mRest;
};

}  // namespace

std::string Word::shown() const {
    return quote(text);
}

std::optional<Time> parseDuration(std::string_view text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::optional<int64_t> number = parseInteger<int64_t>(text.substr(0, digits));
    if (!number) return std::nullopt;
    for (const Unit& unit : kUnits) {
        if (text.substr(digits) != unit.name) continue;
        if (*number > kLongest / unit.time) return std::nullopt;
        return *number * unit.time;
    }
    return std::nullopt;
}

std::string printDuration(Time time) {
    for (const Unit& unit : kUnits) {
        if (time % unit.time != Time::zero()) continue;
        return std::to_string(time / unit.time) + std::string(unit.name);
    }
    return "0s";  // not reached by what the parser gave: it knows nothing below a microsecond
}

std::optional<std::vector<Word>> cutWords(std::string_view line, std::string& error) {
    std::vector<Word> words;
    for (Words cutter(line); !cutter.atEnd();) {
        std::optional<Word> word = cutter.next(error);
        if (!word) return std::nullopt;
        words.push_back(std::move(*word));
    }
    return words;
}

}  // namespace cover
