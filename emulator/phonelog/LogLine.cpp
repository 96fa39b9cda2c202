// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/LogLine.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace phonelog {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace {

// Takes a line apart from its begin. Each function returns false, at any place, when the line has
// something else there.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : mRest(text) {}

    bool take(char sign) {
        if (!mRest.starts_with(sign)) return false;
        mRest.remove_prefix(1);
        return true;
    }
    bool takeDigits(size_t count, int* out) {
        if (mRest.size() < count) return false;
        const auto [end, error] = std::from_chars(mRest.data(), mRest.data() + count, *out);
        if (error != std::errc() || end != mRest.data() + count || *out < 0) return false;
        mRest.remove_prefix(count);
        return true;
    }
    // Blanks, and a number.
    bool takeNumber(int* out) {
        takeBlanks();
        const auto [end, error] = std::from_chars(mRest.data(), mRest.data() + mRest.size(), *out);
        if (error != std::errc() || *out < 0) return false;
        mRest.remove_prefix(static_cast<size_t>(end - mRest.data()));
        return true;
    }
    // Of a second: three, six or nine digits.
    bool takeFraction(nanoseconds* out) {
        nanoseconds unit = seconds(1);
        size_t count = 0;
        for (; count < 9 && count < mRest.size() && isDigit(mRest[count]); ++count) {
            unit /= 10;
            *out += unit * (mRest[count] - '0');
        }
        mRest.remove_prefix(count);
        return count == 3 || count == 6 || count == 9;
    }
    size_t takeBlanks() {
        const size_t count = std::min(mRest.find_first_not_of(' '), mRest.size());
        mRest.remove_prefix(count);
        return count;
    }
    void takeWord() { mRest.remove_prefix(std::min(mRest.find(' '), mRest.size())); }
    std::string_view rest() const { return mRest; }
    char next() const { return mRest.empty() ? '\0' : mRest.front(); }

  private:
    static bool isDigit(char sign) { return sign >= '0' && sign <= '9'; }

    std::string_view mRest;
};

bool takeDate(Scanner& scanner, LogLine* line) {
    Scanner withYear = scanner;
    if (withYear.takeDigits(4, &line->year) && withYear.take('-')) {
        scanner = withYear;
    } else {
        line->year = 0;
    }
    int month = 0;
    int day = 0;
    if (!scanner.takeDigits(2, &month) || !scanner.take('-') || !scanner.takeDigits(2, &day)) {
        return false;
    }
    line->month = static_cast<unsigned>(month);
    line->day = static_cast<unsigned>(day);
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool takeTime(Scanner& scanner, LogLine* line) {
    int h = 0;
    int m = 0;
    int s = 0;
    const bool isTime = scanner.takeDigits(2, &h) && scanner.take(':') &&
                        scanner.takeDigits(2, &m) && scanner.take(':') && scanner.takeDigits(2, &s);
    if (!isTime || h > 23 || m > 59 || s > 60 || !scanner.take('.')) return false;
    line->ofDay = hours(h) + minutes(m) + seconds(s);
    return scanner.takeFraction(&line->ofDay);
}

// " +0200", if it is there.
bool takeZone(Scanner& scanner, LogLine* line) {
    Scanner after = scanner;
    after.takeBlanks();
    const bool isWest = after.next() == '-';
    if (!isWest && after.next() != '+') return true;
    after.take(after.next());
    int h = 0;
    int m = 0;
    if (!after.takeDigits(2, &h) || !after.takeDigits(2, &m)) return false;
    line->zone = (isWest ? -1 : 1) * (hours(h) + minutes(m));
    scanner = after;
    return true;
}

// Process, thread and priority.
bool takeOrigin(Scanner& scanner, LogLine* line) {
    if (!scanner.takeNumber(&line->pid) || !scanner.takeNumber(&line->tid)) return false;
    if (scanner.takeBlanks() == 0) return false;
    line->priority = scanner.next();
    constexpr std::string_view kPriorities = "VDIWEFS";
    return kPriorities.find(line->priority) != std::string_view::npos &&
           scanner.take(line->priority) && scanner.take(' ');
}

// With -v uid, as in a bugreport, a user stands before the process.
bool takeThread(Scanner& scanner, LogLine* line) {
    Scanner afterUser = scanner;
    if (takeOrigin(scanner, line)) return true;
    afterUser.takeBlanks();
    afterUser.takeWord();
    scanner = afterUser;
    return takeOrigin(scanner, line);
}

}  // namespace

std::optional<LogLine> parseLogLine(std::string_view text) {
    Scanner scanner(text);
    LogLine line;
    if (!takeDate(scanner, &line) || !scanner.take(' ') || !takeTime(scanner, &line) ||
        !takeZone(scanner, &line) || !takeThread(scanner, &line)) {
        return std::nullopt;
    }
    const std::string_view rest = scanner.rest();
    // A tag may hold colons, but not the service's.
    size_t end = rest.find(": ");
    size_t begin = end + 2;
    if (end == std::string_view::npos) {
        if (!rest.ends_with(':')) return std::nullopt;
        end = rest.size() - 1;
        begin = rest.size();
    }
    line.tag = rest.substr(0, end);
    line.tag = line.tag.substr(0, line.tag.find_last_not_of(' ') + 1);
    line.text = rest.substr(begin);
    return line;
}

size_t findMergedLine(std::string_view line) {
    constexpr size_t kMonth = 2;  // bytes before its dash
    constexpr size_t kYear = 5;   // with its dash
    for (size_t dash = line.find('-'); dash != std::string_view::npos;
         dash = line.find('-', dash + 1)) {
        if (dash < kMonth || !parseLogLine(line.substr(dash - kMonth))) continue;
        const size_t month = dash - kMonth;
        const bool hasYear = month >= kYear && parseLogLine(line.substr(month - kYear));
        const size_t begin = hasYear ? month - kYear : month;
        if (begin > 0) return begin;
    }
    return std::string_view::npos;
}

}  // namespace phonelog
