// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal, page by page.

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include <httplib.h>

#include "emulator/phone/control/Ability.h"

namespace control {

using phone::Phone;

namespace {

// A page ends after the entry that reaches this many bytes of texts.
constexpr size_t kPageBytes = 1 << 20;
constexpr size_t kMaxMark = 1024;

// The part of the journal that a request asks for.
struct Page {
    uint64_t since;
    uint64_t limit;
};

// The page as the answer's body.
std::string print(const Phone& phone, const Page& page) {
    std::string entries;
    uint64_t next = page.since;
    for (const phone::Entry& entry : phone.journal().since(page.since, page.limit, kPageBytes)) {
        entries += (entries.empty() ? "" : ",") + toJson(entry);
        next = entry.seq + 1;
    }
    return "{\"next\":" + std::to_string(next) + ",\"entries\":[" + entries + "]}\n";
}

// Waits for an entry, as long as the room is open and the client is connected.
void awaitEntry(const Emulator& emulator, uint64_t since, std::chrono::steady_clock::time_point end,
                const httplib::DataSink& client) {
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    const phone::Journal& journal = emulator.phone.journal();
    const auto isClosed = [&] { return emulator.room.isClosed(); };
    while (!isClosed() && client.is_writable()) {
        const auto left = ceil<milliseconds>(end - std::chrono::steady_clock::now());
        const auto slice = std::min<milliseconds>(left, WaitingRoom::kSlice);
        if (slice <= milliseconds::zero() || journal.await(since, slice, isClosed)) return;
    }
}

// Answers later, since the HTTP library reports only to such an answer that the client is gone.
void replyLater(const Emulator& emulator, const Page& page, std::chrono::milliseconds wait,
                httplib::Response& response) {
    const auto end = std::chrono::steady_clock::now() + wait;
    auto answer = [emulator, page, end, place = emulator.room.enter()](size_t /*offset*/,
                                                                       httplib::DataSink& client) {
        try {
            awaitEntry(emulator, page.since, end, client);
            const std::string body = print(emulator.phone, page);
            client.write(body.data(), body.size());
            client.done();
            return true;
        } catch (const std::exception&) {
            // The status is sent already, so the answer can only end early.
            return false;
        }
    };
    response.set_chunked_content_provider("application/json", std::move(answer));
}

void reply(const Emulator& emulator, const Json& given, httplib::Response& response) {
    const Page page = {given["since"], std::min(given["limit"].get<uint64_t>(), kMostEntries)};
    const std::chrono::milliseconds wait(std::min(given["wait_ms"].get<uint64_t>(), kMostWaitMs));
    response.status = 200;
    if (wait.count() == 0 || emulator.phone.journal().next() > page.since) {
        response.set_content(print(emulator.phone, page), "application/json");
    } else {
        replyLater(emulator, page, wait, response);
    }
}

Argument number(const char* name, int64_t otherwise, const char* help) {
    return {.name = name,
            .type = Type::Natural,
            .most = kMostNatural,
            .help = help,
            .otherwise = otherwise,
            .isInCtl = false};
}

// How ctl prints the journal.
Argument way(const char* name, const char* help) {
    return {.name = name, .type = Type::Boolean, .help = help, .flag = true, .isInRequest = false};
}

Argument wish(const char* name, const char* help, std::vector<std::string> words = {}) {
    return {.name = name, .words = std::move(words), .help = help, .isInRequest = false};
}

// ctl takes times too, the request numbers alone.
Argument wishedBegin() {
    Argument begin = wish("from", "First entry's number, a time ago (10s), or of day (16:00:48)");
    begin.option = "--since";
    return begin;
}

const Argument kFollow = way("follow", "Go on until ended");

Request page() {
    Request request(
            "GET", "/v1/journal", {},
            {number("since", 1, "First entry's number"),
             number("limit", 1000, "Of entries; 10,000 at most"),
             number("wait_ms", 0, "For the first entry; 30,000 at most"), kFollow, wishedBegin(),
             wish("kind", "Of these kinds alone: KIND,KIND,..."),
             wish("grep", "With this text alone, in either case of its letters"),
             wish("format", "\"perfetto\" for trace viewers", {"json", "lines", "perfetto"}),
             way("raw", "As --format json")});
    request.reply = reply;
    return request;
}

Request mark() {
    Request request("POST", "/v1/mark",
                    [](Phone& phone, const Json& given) {
                        const std::string text = given["text"];
                        if (text.empty() || text.size() > kMaxMark) {
                            throw BadRequest("\"text\" must have 1 to " + std::to_string(kMaxMark) +
                                             " bytes");
                        }
                        // After all that was done before it.
                        phone.journal().sync();
                        phone.journal().add(phone::Kind::Mark, "", text);
                    },
                    {{.name = "text",
                      .option = "TEXT",
                      .help = "1 to 1,024 bytes, as one argument or several words",
                      .isRequired = true,
                      .isMany = true}});
    request.told = Told::ByEffect;
    return request;
}

}  // namespace

std::vector<Ability> ofJournal() {
    return {
            {"journal",
             "Print the journal",
             {page()},
             "On a terminal as lines: one for an exchange, a frame, a call or an event, sorted by "
             "time; \"!\"\n"
             "marks what a fault struck. Into a file or a pipe as JSON, one object an entry, in "
             "the "
             "order of\n"
             "their numbers. With --follow a line is printed when it is over.\n\n"
             "KIND is a lane (at, panel, nodes, uevents, usb, calls, emulator), the kind of an "
             "entry (tty-rx,\n"
             "node-write, ...), or of a line: exchange, log, unsolicited, frame, call, callback,\n"
             "neighbour-call. Opens and closes have a line only when their kind is named."},
            {"mark", "Put a remark into the journal", {mark()}},
            {"klog",
             "Print what was written to the kernel log, a message a line",
             {Request("GET", "/v1/journal", {}, {kFollow})},
             "The cover's own log is in it as long as the service captures it. A line on standard "
             "error says\n"
             "when the service does not, and how to switch the capture on."},
    };
}

}  // namespace control
