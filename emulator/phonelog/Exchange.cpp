// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Exchange.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <strings.h>

namespace phonelog {

using phone::Kind;
using End = Exchange::End;

namespace {

constexpr size_t npos = std::string_view::npos;
constexpr std::string_view kPrefix = "serialAtCmd: ";

bool isWord(const std::string& text, const char* word) {
    return strcasecmp(text.c_str(), word) == 0;
}

// What the service says itself with the priority of the cover's lines.
constexpr std::string_view kOwn[] = {
        "BrightnessThread: ",
        "setPowerStatus:",
        "bv2_display_",
        "set_touch_perf: ",
        "lower than min. br",
        "bigger than max. br",
        "[dd] ",
        "serialLogThread",
        "request br_offset ",
        "enalble br ",
        "br_to_offset_br",
        "========== ",
        "usbDeviceAdded",
        "can open path: ",
        "serialDeviceAdded: ",
        "initSubDisplay",
        "deinitSubDisplay",
        "setSubDisplay",
        "There is no buffer to",
        "Draw Sub DISPLAY",
        "Sub DISPLAY UPDATE",
        "HID-DISPLAY: ",
        "Same status is ",
        "registering callb",
        "pthread destroyed",
        "FB0 is being",
        "FB1 is being",
        "exiting worker",
        "Bivista HAL Ready",
};

// A line that was cut, of which this is left.
bool mayBeWord(const std::string& text, std::string_view word) {
    return !text.empty() && word.starts_with(text);
}

}  // namespace

std::vector<const Exchange::Said*> Exchange::contents() const {
    std::vector<const Said*> contents;
    for (const Said& line : said) {
        if (!line.isStart && !line.isStray) contents.push_back(&line);
    }
    const bool hasEnd = end == End::Ok || end == End::Error;
    if (hasEnd && !contents.empty()) contents.pop_back();
    return contents;
}

std::string Exchange::text() const {
    std::string text;
    for (const Said* line : contents()) text += line->text + "\n";
    // The service keeps this much.
    constexpr size_t kKept = 1024;
    text.resize(std::min(text.size(), kKept));
    if (end == End::Ok && !text.empty()) text.pop_back();
    return text;
}

bool mayBeCovers(const Line& line) {
    return line.priority == 'I' && std::ranges::none_of(kOwn, [&line](std::string_view begin) {
               return line.text.starts_with(begin);
           });
}

bool ExchangeReader::take(size_t line, std::string_view text) {
    if (!text.starts_with(kPrefix)) {
        if (!mOpen || mOpen->sentAt == SIZE_MAX || !mayBeCovers(mDraft.log().lines[line])) {
            return false;
        }
        // A line of the cover's own. The word that ends an answer comes once more, as such.
        mOpen->said.push_back({line, std::string(text), false, true});
        return true;
    }
    text.remove_prefix(kPrefix.size());
    if (takeRequest(line, text)) return true;
    if (text.starts_with("wr: [")) {
        takeWritten(line, text);
    } else if (text.starts_with("eh: [") || text.starts_with("rd: [")) {
        takeAnswer(line, text, text.starts_with("eh"));
    } else if (text == "Command not supported" || text.starts_with("last read buffer value: ")) {
        // Said of an exchange that is over.
    } else if (mOpen) {
        takeFailure(line, text);
    }
    return true;
}

// "resp:0x7ffd respCount:1024 cb:0x0 cmd:[AT%SWV]"
bool ExchangeReader::takeRequest(size_t line, std::string_view text) {
    const size_t command = text.find(" cmd:[");
    if (!text.starts_with("resp:") || command == npos) return false;
    close(line);
    mOpen.emplace();
    mOpen->first = line;
    mOpen->last = line;
    mOpen->command = bracketed(line, text.substr(command));
    const size_t callback = text.find(" cb:");
    const std::string_view pointer = text.substr(callback + 4, command - callback - 4);
    mOpen->hasCallback = callback < command &&
                         pointer.find_first_of("123456789abcdef", 2) != npos && pointer != "(nil)";
    return true;
}

// The text between the brackets, and what is left of it in a line that was cut.
std::string ExchangeReader::bracketed(size_t line, std::string_view text) {
    text.remove_prefix(std::min(text.find('[') + 1, text.size()));
    if (text.ends_with(']')) return std::string(text.substr(0, text.size() - 1));
    mDraft.missing(line, "the line is cut: the rest of the text is not known");
    return std::string(text);
}

void ExchangeReader::takeWritten(size_t line, std::string_view text) {
    const std::string command = bracketed(line, text);
    if (!mOpen || mOpen->sentAt != SIZE_MAX) {
        close(line);
        mDraft.missing(line, "the line before it, with the request for " + mDraft.shown(command) +
                                     ", is missing");
        mOpen.emplace();
        mOpen->first = line;
    }
    mOpen->command = command.size() > mOpen->command.size() ? command : mOpen->command;
    mOpen->sentAt = line;
    mOpen->last = line;
}

void ExchangeReader::takeAnswer(size_t line, std::string_view text, bool isStart) {
    const std::string said = bracketed(line, text);
    if (!mOpen) {
        mDraft.missing(line, "an answer whose command is missing: left out");
        return;
    }
    if (mOpen->sentAt == SIZE_MAX) {
        mDraft.missing(line, "the line \"wr: [" + mDraft.shown(mOpen->command) +
                                     "]\" is missing before it");
        mOpen->sentAt = line;
    }
    mOpen->last = line;
    const bool hasStart = !mOpen->said.empty() && !mOpen->said.back().isStray;
    if (!isStart && !hasStart && !mOpen->said.empty() && mOpen->said.back().text == said) {
        // The end of an answer that never began was logged as a line of the cover's own, too.
        mOpen->said.pop_back();
    } else if (!isStart && !hasStart) {
        mDraft.missing(line, "the begin of the answer is missing: a blank line assumed");
        mOpen->said.push_back({line, "", true, false});
    }
    mOpen->said.push_back({line, said, isStart, false});
    if (isStart) return;
    if (isWord(said, "OK"))
        finish(line, End::Ok);
    else if (isWord(said, "ERROR"))
        finish(line, End::Error);
}

void ExchangeReader::takeFailure(size_t line, std::string_view text) {
    const bool isSent = mOpen->sentAt != SIZE_MAX;
    End end = isSent ? End::TimeOut : End::NotAttached;
    if (text == "POLLHUP")
        end = End::HangUp;
    else if (text.starts_with("failed to write "))
        end = End::WriteFailed;
    else if (text.starts_with("failed to open "))
        end = End::NotOpened;
    else if (text.starts_with("failed to "))
        end = End::ReadFailed;
    else if (text == "Invalid argument")
        end = End::Malformed;
    finish(line, end);
}

void ExchangeReader::finish(size_t line, End end) {
    mOpen->last = line;
    mOpen->end = end;
    mDone = std::exchange(mOpen, std::nullopt);
}

std::optional<Exchange> ExchangeReader::done() {
    return std::exchange(mDone, std::nullopt);
}

void ExchangeReader::close(size_t line) {
    if (!mOpen) return;
    const std::string command = mOpen->command;
    const bool hasAnswer = !mOpen->said.empty();
    const std::string last = hasAnswer ? mOpen->said.back().text : "";
    if (!mayBeWord(last, "OK") && !mayBeWord(last, "ERROR")) {
        if (!hasAnswer) mOpen->said.push_back({mOpen->last, "", true, false});
        mOpen->said.push_back({mOpen->last, "OK", false, false});
        mDraft.missing(line, "before it the end of the answer to " + mDraft.shown(command) +
                                     " is missing: OK assumed");
    } else {
        mOpen->said.back().text = last.front() == 'O' ? "OK" : "ERROR";
    }
    if (mOpen->sentAt == SIZE_MAX) mOpen->sentAt = mOpen->first;
    finish(mOpen->last, mOpen->said.back().text == "OK" ? End::Ok : End::Error);
}

void addExchange(Draft& draft, const Exchange& exchange, const std::string& tty) {
    // What the cover says at once.
    constexpr std::chrono::milliseconds kTogether(10);
    if (exchange.sentAt == SIZE_MAX) return;
    const std::string sent = exchange.command + "\r";
    if (exchange.end != End::WriteFailed) {
        draft.add({exchange.sentAt, 1}, Kind::TtyRx, tty, sent);
    }
    const std::vector<Line>& lines = draft.log().lines;
    std::string bytes;
    size_t first = SIZE_MAX;
    for (size_t i = 0; i < exchange.said.size(); ++i) {
        const Exchange::Said& said = exchange.said[i];
        if (first == SIZE_MAX) first = said.line;
        // An echo is the command with its "\r", and then a line end.
        bytes += said.text + (said.isStart && !said.text.empty() ? "\r\r\n" : "\r\n");
        const size_t next = i + 1 < exchange.said.size() ? exchange.said[i + 1].line : SIZE_MAX;
        if (next != SIZE_MAX && lines[next].time - lines[said.line].time < kTogether) continue;
        draft.add({std::exchange(first, SIZE_MAX), 2}, Kind::TtyTx, tty, std::exchange(bytes, {}));
    }
    ++draft.findings().exchanges;
}

}  // namespace phonelog
