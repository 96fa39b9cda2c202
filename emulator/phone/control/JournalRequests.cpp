// The journal, page by page.

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "emulator/phone/control/Routes.h"

namespace control {

using phone::Phone;

namespace {

constexpr uint64_t kDefaultLimit = 1000;
constexpr uint64_t kMaxLimit = 10'000;
constexpr uint64_t kMaxWaitMs = 30'000;
// A page ends after the entry that reaches this many bytes of texts.
constexpr size_t kPageBytes = 1 << 20;

uint64_t takeNumber(const httplib::Request& request, const char* name, uint64_t otherwise) {
    if (!request.has_param(name)) return otherwise;
    const std::string text = request.get_param_value(name);
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        throw BadRequest(std::string("\"") + name + "\" must be a number");
    }
    return std::stoull(text);
}

// What of the journal is asked for.
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

// Waits for an entry, as long as the room is open and the client is there.
void awaitEntry(const Phone& phone, uint64_t since, std::chrono::steady_clock::time_point end,
                const WaitingRoom& room, const httplib::DataSink& client) {
    const auto any = [](const phone::Entry&) { return true; };
    while (!room.isClosed() && client.is_writable() && std::chrono::steady_clock::now() < end) {
        if (phone.journal().waitFor(any, since, WaitingRoom::kSlice)) return;
    }
}

// Answers later: only in this way the HTTP library tells that the client is gone.
void replyLater(Phone& phone, const Page& page, std::chrono::milliseconds wait, WaitingRoom& room,
                httplib::Response& response) {
    const auto end = std::chrono::steady_clock::now() + wait;
    auto answer = [&phone, page, end, &room, place = room.enter()](size_t /*offset*/,
                                                                   httplib::DataSink& client) {
        try {
            awaitEntry(phone, page.since, end, room, client);
            const std::string body = print(phone, page);
            client.write(body.data(), body.size());
            client.done();
            return true;
        } catch (const std::exception&) {
            // The status is sent already: an answer that ends early is all that is left.
            return false;
        }
    };
    response.set_chunked_content_provider("application/json", std::move(answer));
}

void showJournal(Phone& phone, WaitingRoom& room, const httplib::Request& request,
                 httplib::Response& response) {
    const Page page = {takeNumber(request, "since", 1),
                       std::min(takeNumber(request, "limit", kDefaultLimit), kMaxLimit)};
    const std::chrono::milliseconds wait(std::min(takeNumber(request, "wait_ms", 0), kMaxWaitMs));
    response.status = 200;
    if (wait.count() == 0 || phone.journal().next() > page.since) {
        response.set_content(print(phone, page), "application/json");
    } else {
        replyLater(phone, page, wait, room, response);
    }
}

}  // namespace

void addJournalRequests(httplib::Server& server, Phone& phone, WaitingRoom& room) {
    server.Get("/v1/journal", makeHandler([&phone, &room](const httplib::Request& request,
                                                          httplib::Response& response) {
                   showJournal(phone, room, request, response);
               }));
}

}  // namespace control
