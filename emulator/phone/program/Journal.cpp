// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// ctl: the journal, and the kernel log in it.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string_view>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/Message.h"
#include "cli/Output.h"
#include "cli/Suggestion.h"
#include "emulator/cover/FaultWords.h"
#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/control/Argument.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/JournalLines.h"
#include "emulator/phone/program/JournalPages.h"
#include "emulator/phone/program/Session.h"
#include "emulator/timeline/Trace.h"

namespace emulator {

using timeline::Filter;

namespace {

constexpr char kJournal[] = "journal";
constexpr int64_t kSecondUs = 1'000'000;

int64_t nowUs() {
    using std::chrono::system_clock;
    const auto now = system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// The last time that it was so late, by the local clock; none for other texts.
std::optional<int64_t> timeOfDay(const std::string& text) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    char more = 0;
    constexpr size_t kLength = sizeof("16:00:48") - 1;
    const bool isTime = text.size() == kLength &&
                        sscanf(text.c_str(), "%2d:%2d:%2d%c", &hour, &minute, &second, &more) == 3;
    if (!isTime || text.find_first_not_of("0123456789:") != std::string::npos) return std::nullopt;
    if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const int64_t now = nowUs();
    for (const int daysAgo : {0, 1}) {
        time_t seconds = static_cast<time_t>(now / kSecondUs);
        tm local = {};
        localtime_r(&seconds, &local);
        local.tm_mday -= daysAgo;
        local.tm_hour = hour;
        local.tm_min = minute;
        local.tm_sec = second;
        local.tm_isdst = -1;
        seconds = mktime(&local);
        if (seconds * kSecondUs <= now) return seconds * kSecondUs;
    }
    return std::nullopt;
}

// What ctl was asked for.
struct Wish {
    uint64_t first = 1;
    bool follow = false;
    std::string format;
    Filter filter{};
};

void readSince(const std::string& text, Wish& wish) {
    const auto number = cover::parseInteger<uint64_t>(text);
    if (number && *number <= uint64_t{control::kMostNatural}) {
        wish.first = *number;
    } else if (const auto ago = cover::parseDuration(text)) {
        wish.filter.sinceWallUs =
                nowUs() - std::chrono::duration_cast<std::chrono::microseconds>(*ago).count();
    } else if (const auto time = timeOfDay(text)) {
        wish.filter.sinceWallUs = *time;
    } else {
        cli::refuseUsage(kJournal,
                         "--since: must be an entry's number, a time ago such as 10s, or a time of "
                         "day such as 16:00:48");
    }
}

std::vector<std::string> readKinds(const std::string& text) {
    std::vector<std::string> kinds;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(',', at), text.size());
        kinds.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    for (const std::string& kind : kinds) {
        const std::vector<std::string>& known = timeline::kindWords();
        if (std::ranges::find(known, kind) != known.end()) continue;
        cli::refuseUsage(kJournal, "--kind: " + cover::quote(kind) + " is no kind" +
                                           cli::suggest(kind, known));
    }
    return kinds;
}

Wish readWish(const Json& given) {
    Wish wish = {.follow = given.contains("follow"),
                 .format = isatty(STDOUT_FILENO) != 0 ? "lines" : "json"};
    if (given.contains("format")) wish.format = given["format"];
    if (given.contains("raw")) {
        if (given.contains("format")) cli::refuseUsage(kJournal, "--raw does not go with --format");
        wish.format = "json";
    }
    if (given.contains("from")) readSince(given["from"], wish);
    if (given.contains("kind")) wish.filter.kinds = readKinds(given["kind"]);
    if (given.contains("grep")) wish.filter.text = given["grep"];
    if (wish.follow && wish.format == "perfetto") {
        cli::refuseUsage(kJournal, "--follow does not go with --format perfetto");
    }
    return wish;
}

// Prints a text for each entry, until the end or for ever.
void printEach(JournalPages& pages, bool follow,
               const std::function<std::string(const Json& entry)>& inWords) {
    while (const std::optional<Json> entries = pages.next(follow)) {
        std::string text;
        for (const Json& entry : *entries) text += inWords(entry);
        cli::printOrFail(text);
        if (entries->empty() && !follow) return;
    }
}

void printJson(JournalPages& pages, const Wish& wish) {
    printEach(pages, wish.follow, [&](const Json& entry) {
        const bool isWanted = wish.filter.isEmpty() || wish.filter.takes(entryOf(entry));
        return isWanted ? entry.dump() + "\n" : "";
    });
}

void printTrace(JournalPages& pages, const Filter& filter) {
    constexpr size_t kPiece = 1 << 16;
    std::string text;
    const auto print = [&text](std::string_view piece) {
        text += piece;
        if (text.size() < kPiece) return;
        cli::printOrFail(text);
        text.clear();
    };
    timeline::Trace trace(print, filter);
    while (const std::optional<Json> entries = pages.next(false)) {
        if (entries->empty()) break;
        for (const Json& object : *entries) trace.add(entryOf(object));
    }
    trace.end();
    cli::printOrFail(text);
}

std::string showMessage(const Json& entry) {
    if (entry.at("kind") != "klog") return "";
    std::string message = cover::unescape(entry.value("bytes", "")).value_or("");
    // The message's own line end also ends the printed line.
    if (message.ends_with('\n')) message.pop_back();
    return cover::escape(message) + "\n";
}

// The service asks the cover for its log when this property begins with 1 or more.
constexpr char kCapture[] = "persist.vendor.qmx.service.kernel.enable";

// Prints why the kernel log may lack the cover's log. False when the emulator did not answer.
bool tellOfCapture(Session& session) {
    const std::optional<Json> list = session.ask("GET", "/v1/properties");
    if (!list) return false;
    const auto value = list->at("properties").value(kCapture, "0");
    if (value < "1") {
        cli::remark(kProgram,
                    std::string("the capture of the cover's log is off; \"bivista-emulator ctl "
                                "property ") +
                            kCapture + " 1\" and \"bivista-emulator ctl reattach\" switch it on");
    }
    return true;
}

}  // namespace

void readJournal(Session& session, const Json& given) {
    const Wish wish = readWish(given);
    JournalPages pages(session, wish.first);
    if (wish.format == "perfetto") return printTrace(pages, wish.filter);
    if (wish.format == "lines") return printLines(pages, wish.filter, wish.follow);
    printJson(pages, wish);
}

void readKernelLog(Session& session, const Json& given) {
    if (!tellOfCapture(session)) return;
    JournalPages pages(session, 1);
    printEach(pages, given.contains("follow"), showMessage);
}

}  // namespace emulator
