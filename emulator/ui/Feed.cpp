// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Feed.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "emulator/phone/Entry.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/control/Ability.h"

namespace ui {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A busy emulator is asked this often; one that was quiet is asked at once.
constexpr milliseconds kRound(30);
constexpr milliseconds kForEver(-1);
// After an answer that is no emulator's, which nothing tells to change.
constexpr milliseconds kRetry(2000);

// Statuses of the control interface.
constexpr int kDone = 200;
constexpr int kRefused = 409;
constexpr int kEnding = 410;

// The emulator has ended, or there is none. `what()` is for people.
class Gone : public std::runtime_error {
  public:
    Gone(const std::string& why, milliseconds retry) : std::runtime_error(why), retry(retry) {}

    const milliseconds retry;
};

// No page is open any more.
class Unwanted : public std::exception {};

[[noreturn]] void failAsForeign(const std::string& folder) {
    throw Gone("what answers in " + folder + " is no emulator, or not one of this version", kRetry);
}

// Entries after which the panel may show something else.
bool isOfPanel(const phone::Entry& entry) {
    switch (entry.kind) {
        case phone::Kind::Attach:
        case phone::Kind::Detach:
        case phone::Kind::HidOpen:
        case phone::Kind::HidGet:
        case phone::Kind::HidSet:
        case phone::Kind::HidWrite:
        case phone::Kind::HidClose:
        case phone::Kind::Control:
            return true;
        default:
            return false;
    }
}

}  // namespace

Feed::Feed(const Emulator& emulator, Store& store)
    : mEmulator(emulator),
      mStore(store),
      mFolderWatch(emulator.folder()),
      mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mWake.ok()) phone::throwErrno("cannot make an eventfd");
}

std::shared_ptr<void> Feed::open() {
    {
        const android::AutoMutex lock(mLock);
        if (mPages++ == 0) mClient = mEmulator.connect();
    }
    wake();
    return {this, [this](void*) { close(); }};
}

void Feed::close() {
    const android::AutoMutex lock(mLock);
    if (--mPages > 0) return;
    mClient->cancel();
    wake();
}

bool Feed::isWanted() const {
    const android::AutoMutex lock(mLock);
    return mPages > 0;
}

bool Feed::isWanted(const std::shared_ptr<emulator::Client>& client) const {
    const android::AutoMutex lock(mLock);
    return mPages > 0 && mClient == client;
}

void Feed::wake() const {
    eventfd_write(mWake.get(), 1);
}

void Feed::await(int fd, milliseconds limit) const {
    pollfd watched[] = {{mWake.get(), POLLIN, 0}, {fd, POLLIN, 0}};
    poll(watched, 2, static_cast<int>(limit.count()));
    eventfd_t ignored;
    eventfd_read(mWake.get(), &ignored);
}

void Feed::run() {
    for (;;) {
        while (!isWanted()) await(-1, kForEver);
        mFolderWatch.drain();
        try {
            follow();
        } catch (const Unwanted&) {
            continue;
        } catch (const Gone& gone) {
            if (mFollowed) {
                mFollowed->timeline.end();
                mStore.put(mFollowed->timeline.take());
            }
            mFollowed.reset();
            mStore.end(Json({{"message", gone.what()}}).dump());
            if (isWanted()) await(mFolderWatch.fd(), gone.retry);
        }
    }
}

Json Feed::ask(const std::string& path, const Json& values) {
    std::shared_ptr<emulator::Client> client;
    {
        const android::AutoMutex lock(mLock);
        if (mPages == 0) throw Unwanted();
        client = mClient;
    }
    const httplib::Result result = client->ask("GET", path, values);
    if (!isWanted(client)) throw Unwanted();
    if (!result) throw Gone(emulator::tellNoAnswer(result.error(), mEmulator.folder()), kForEver);
    if (result->status == kRefused) return nullptr;
    if (result->status == kEnding) throw Gone("the emulator has ended", kForEver);
    Json answer = emulator::parseJson(result->body);
    if (result->status != kDone || !answer.is_object()) failAsForeign(mEmulator.folder());
    return answer;
}

// Tells the pages which emulator this is; they forget another one's items.
void Feed::greet() {
    const std::optional<Emulator::Identity> identity = mEmulator.identity();
    if (mFollowed && identity == mFollowed->identity) return;
    const Json page = ask("/v1/journal", {{"since", 1}, {"limit", 1}});
    int64_t start = 0;
    for (const Json& each : page.at("entries")) {
        const std::optional<phone::Entry> entry = phone::fromJson(each);
        if (!entry) failAsForeign(mEmulator.folder());
        start = std::chrono::duration_cast<std::chrono::microseconds>(entry->wall - entry->time)
                        .count();
    }
    if (!identity) throw Gone("the emulator has ended", kForEver);
    // Without an entry the socket is all that tells the time.
    if (start == 0) {
        start = int64_t{std::get<1>(*identity)} * 1'000'000 + std::get<2>(*identity) / 1000;
    }
    mFollowed.emplace(*identity);
    mStore.begin(Json({{"version", BIVISTA_VERSION},
                       {"folder", mEmulator.folder()},
                       {"start_wall_us", start}})
                         .dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Feed::follow() {
    try {
        greet();
        showState();
        showSnapshot();
        // Each request is a connection of its own, and might reach the next emulator.
        while (mEmulator.identity() == mFollowed->identity) {
            const Json values = {{"since", mFollowed->next},
                                 {"limit", control::kMostEntries},
                                 {"wait_ms", mFollowed->isLoaded ? control::kMostWaitMs : 0}};
            pass(ask("/v1/journal", values));
        }
        throw Gone("the emulator has ended", kForEver);
    } catch (const Json::exception&) {
        failAsForeign(mEmulator.folder());
    }
}

// A page of the journal.
void Feed::pass(const Json& page) {
    const auto start = Clock::now();
    const Json& entries = page.at("entries");
    if (entries.empty()) {
        if (!std::exchange(mFollowed->isLoaded, true)) mStore.setLoaded();
        return;
    }
    // Without progress, the same page would be asked for for ever.
    const auto next = page.at("next").get<uint64_t>();
    if (next <= mFollowed->next) failAsForeign(mEmulator.folder());
    mFollowed->next = next;
    const bool isPanel = add(entries);
    if (!mFollowed->isLoaded) return;
    showState();
    if (isPanel) showSnapshot();
    const auto left = kRound - std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    if (left > milliseconds(0)) await(-1, left);
}

// True when the panel may show something else.
bool Feed::add(const Json& entries) {
    bool isPanel = false;
    for (const Json& each : entries) {
        const std::optional<phone::Entry> entry = phone::fromJson(each);
        if (!entry) continue;
        isPanel = isPanel || isOfPanel(*entry);
        mFollowed->timeline.add(*entry);
    }
    mStore.put(mFollowed->timeline.take());
    return isPanel;
}

void Feed::showState() {
    mStore.setState(ask("/v1/state").dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Feed::showSnapshot() {
    mStore.setSnapshot(ask("/v1/snapshot").dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace ui
