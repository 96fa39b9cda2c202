// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/ServiceLog.h"

#include <utility>

#include "emulator/phonelog/Clock.h"
#include "emulator/phonelog/LineFile.h"
#include "emulator/phonelog/LogLine.h"
#include "emulator/phonelog/Sections.h"

namespace phonelog {

namespace {

// A life that is being read.
struct Life {
    ServiceLog log;
    Clock clock;
    size_t bytes = 0;
    bool hasAttach = false;
};

bool isAttach(std::string_view text) {
    return text == "========== Bivista Attached" ||
           (text.starts_with("========== ") && text.ends_with(" create")) ||
           text.starts_with("serialAtCmd: wr: [");
}

class Collector {
  public:
    explicit Collector(std::optional<int> pid) : mPid(pid) {}

    void take(size_t number, std::string_view text, bool isCut);
    std::optional<ServiceLog> finish(size_t fileLines);

  private:
    void takeMessage(size_t number, const LogLine& line);
    void takeChatty(size_t number, const LogLine& line);
    Life& lifeOf(size_t number, const LogLine& line);
    void keep(Life& life, size_t number, const LogLine& line);

    const std::optional<int> mPid;
    Sections mSections;
    std::optional<Life> mLast;     // an earlier life with an attach
    std::optional<Life> mCurrent;  // the one that is read
    std::vector<Remark> mRemarks;  // of the whole log
    size_t mLogLines = 0;
};

void Collector::take(size_t number, std::string_view text, bool isCut) {
    if (mSections.take(number, text) || !mSections.isLog()) return;
    const bool isOurs = text.find(kServiceTag) != std::string_view::npos;
    const bool isChatty = !isOurs && text.find(" chatty ") != std::string_view::npos;
    // The others' lines need no look, but the first show whether this is a log.
    if (!isOurs && !isChatty && mLogLines > 0) return;
    const size_t merged = isOurs ? findMergedLine(text) : std::string_view::npos;
    const std::optional<LogLine> line = parseLogLine(text.substr(0, merged));
    if (line) ++mLogLines;
    if (merged != std::string_view::npos) {
        if (line && line->tag == kServiceTag) takeMessage(number, *line);
        if (mCurrent) add(mCurrent->log.remarks, number, "two lines are merged into one");
        return take(number, text.substr(merged), isCut);
    }
    if (!line) return;
    if (line->tag == kServiceTag) {
        takeMessage(number, *line);
        if (isCut && mCurrent) add(mCurrent->log.remarks, number, "the line is cut off");
    } else if (line->tag == "chatty") {
        takeChatty(number, *line);
    }
}

Life& Collector::lifeOf(size_t number, const LogLine& line) {
    const bool begins = line.text == "========== Bivista HAL Constructor ==========";
    const bool isAnother = mCurrent && mCurrent->log.pid != line.pid;
    // A process id comes back after a boot.
    const bool isAgain = mCurrent && begins && mCurrent->log.lines.size() > 1;
    if (isAnother || isAgain) {
        add(mRemarks, number,
            "the service was restarted: process " + std::to_string(line.pid) + " after process " +
                    std::to_string(mCurrent->log.pid));
        if (mCurrent->hasAttach) mLast = std::move(mCurrent);
        mCurrent.reset();
    }
    if (!mCurrent) {
        mCurrent.emplace();
        mCurrent->log.pid = line.pid;
    }
    if (begins) mCurrent->log.hasStart = true;
    return *mCurrent;
}

void Collector::takeMessage(size_t number, const LogLine& line) {
    if (mPid && line.pid != *mPid) return;
    LogLine message = line;
    const std::string plain = mSections.isEscaped() ? unescapePrintable(line.text) : "";
    if (mSections.isEscaped()) message.text = plain;
    keep(lifeOf(number, message), number, message);
}

void Collector::keep(Life& life, size_t number, const LogLine& line) {
    ServiceLog& log = life.log;
    life.bytes += sizeof(Line) + line.text.size();
    if (log.lines.size() >= kMostLines || life.bytes > kMostBytes) {
        throw NotALog(":" + std::to_string(number) + ": the service wrote more than " +
                      std::to_string(kMostLines) + " lines or " + std::to_string(kMostBytes >> 20) +
                      " MiB since it started: give the part that matters");
    }
    std::string jump;
    const std::chrono::nanoseconds time = life.clock.take(line, &jump);
    if (!jump.empty()) add(log.remarks, number, jump);
    if (isAttach(line.text)) life.hasAttach = true;
    log.lines.push_back({number, time, line.tid, line.priority, std::string(line.text)});
}

// "uid=1000(system) NAME identical 3 lines", or "... expire 12 lines".
void Collector::takeChatty(size_t number, const LogLine& line) {
    if (!mCurrent || line.pid != mCurrent->log.pid) return;
    const Chatty chatty = parseChatty(line.text);
    if (chatty.count == 0) return;
    ServiceLog& log = mCurrent->log;
    const std::string count = std::to_string(chatty.count);
    if (!chatty.isIdentical) {
        add(log.remarks, number,
            "the phone's logger dropped " + count +
                    " lines of the service: what they told is missing, and a replay may differ "
                    "from here on");
        return;
    }
    // The line before it, so many times more.
    if (log.lines.empty() || log.lines.back().tid != line.tid) {
        add(log.remarks, number,
            "the logger left out " + count + " lines that were the same as one that is missing");
        return;
    }
    add(log.remarks, number,
        "the logger left out " + count + " lines that were the same: they are put back");
    const std::string text = log.lines.back().text;
    LogLine copy = line;
    copy.priority = log.lines.back().priority;
    copy.text = text;
    for (size_t i = 0; i < chatty.count; ++i) keep(*mCurrent, number, copy);
}

std::optional<ServiceLog> Collector::finish(size_t fileLines) {
    if (mLogLines == 0 && fileLines > 0) {
        throw NotALog(
                ": is no log of a phone: it has no line as \"logcat -v threadtime\" prints it; "
                "take "
                "\"adb logcat -v threadtime\", or the text in the archive of a bugreport");
    }
    const bool takesLast = mLast && (!mCurrent || !mCurrent->hasAttach);
    std::optional<Life>& chosen = takesLast ? mLast : mCurrent;
    if (!chosen) return std::nullopt;
    ServiceLog& log = chosen->log;
    log.start = chosen->clock.start();
    log.fileLines = fileLines;
    for (Remark& remark : mSections.remarks()) add(mRemarks, remark.line, std::move(remark.text));
    if (mRemarks.size() > mSections.remarks().size() && !mPid) {
        mRemarks.push_back({log.lines.front().number,
                            "taken: process " + std::to_string(log.pid) +
                                    ", the last one with an attach; --pid takes another"});
    }
    for (Remark& remark : log.remarks) add(mRemarks, remark.line, std::move(remark.text));
    log.remarks = std::move(mRemarks);
    return std::move(log);
}

}  // namespace

void add(std::vector<Remark>& remarks, size_t line, std::string text) {
    if (remarks.size() > kMostRemarks) return;
    if (remarks.size() == kMostRemarks) {
        line = 0;
        text = "There is more than these " + std::to_string(kMostRemarks) + " remarks.";
    }
    if (text.size() > kLongestRemark) text.replace(kLongestRemark, std::string::npos, "...");
    remarks.push_back({line, std::move(text)});
}

std::optional<ServiceLog> readServiceLog(std::istream& file, std::optional<int> pid) {
    Collector collector(pid);
    LineFile lines(file);
    while (lines.next()) collector.take(lines.number(), lines.text(), lines.isCut());
    return collector.finish(lines.number());
}

}  // namespace phonelog
