// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/ChangeWatch.h"

#include <chrono>
#include <exception>

#include <sys/eventfd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/client/Client.h"
#include "emulator/phone/control/Ability.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

constexpr int kDone = 200;
// No terminal draws faster, and nobody sees more.
constexpr std::chrono::milliseconds kPause(40);

}  // namespace

ChangeWatch::ChangeWatch(std::unique_ptr<Client> client)
    : mClient(std::move(client)), mChanged(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!mChanged.ok()) phone::throwErrno("cannot make an eventfd");
    mThread = std::thread([this] {
        try {
            run();
        } catch (const std::exception&) {
            // The next request of the command's own session tells why.
        }
        mHasEnded = true;
        eventfd_write(mChanged.get(), 1);
    });
}

ChangeWatch::~ChangeWatch() {
    mIsStopped = true;
    mClient->cancel();
    mThread.join();
}

uint64_t ChangeWatch::ask(uint64_t since, uint64_t limit, bool waits) {
    Json values = {{"since", since}, {"limit", limit}};
    if (waits) values["wait_ms"] = control::kMostWaitMs;
    const httplib::Result result = mClient->ask("GET", "/v1/journal", values);
    if (!result || result->status != kDone) throw ForeignAnswer();
    return parseJson(result->body).at("next").get<uint64_t>();
}

// By halves: the journal may be long, and only its end matters.
uint64_t ChangeWatch::findEnd() {
    uint64_t least = 1;
    uint64_t step = 1;
    while (ask(least + step, 1, false) != least + step) step *= 2;
    while (step > 0) {
        if (const uint64_t next = ask(least + step, 1, false); next != least + step) least = next;
        step /= 2;
    }
    return ask(least, control::kMostEntries, false);
}

void ChangeWatch::run() {
    uint64_t end = findEnd();
    // What somebody has read of the phone meanwhile may be of before that end.
    eventfd_write(mChanged.get(), 1);
    while (!mIsStopped) {
        const uint64_t next = ask(end, control::kMostEntries, true);
        if (next == end) continue;
        end = next;
        eventfd_write(mChanged.get(), 1);
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace emulator
