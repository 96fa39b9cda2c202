// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/PassiveWatch.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "tools/ExitStatus.h"
#include "tools/client/History.h"
#include "tools/commands/Command.h"
#include "tools/commands/WatchEnd.h"

namespace bivistactl {
namespace {

using ::android::sp;

void printLine(const Json& event) {
    printOrFail(toLine(event) + "\n");
}

std::string checkNumber(const std::string& text) {
    const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };
    const bool isNumber =
            !text.empty() && text.size() < 16 && std::all_of(text.begin(), text.end(), isDigit);
    return isNumber ? "" : text + " is no number of an event.";
}

// What is known of the service that is followed.
class Follower {
  public:
    Follower(const PassiveWatch& options, std::vector<std::string> kinds)
        : mOptions(options), mKinds(std::move(kinds)) {}

    // The first look: there must be a service with a history.
    void begin() {
        mService = findService();
        const History history = ask(mService, since());
        mId = history.service();
        if (mOptions.since) {
            tell(history);
        } else {
            mLast = history.last();
            tellCallback(history);
        }
        remark("following the service's history, " + std::to_string(mOptions.interval) +
               " ms between two looks; no client loses its callback by this. End it with Ctrl-C");
    }

    void look() {
        try {
            if (mService == nullptr) mService = BivistaV1_0::tryGetService();
            if (mService == nullptr) return;
            const History history = ask(mService, mLast);
            if (history.service() == mId) return tell(history);
            beginAnew();
        } catch (const Failure& failure) {
            if (failure.code != EXIT_NO_SERVICE) throw;
            tellDeath();
        }
    }

  private:
    int64_t since() const { return mOptions.since ? std::stoll(*mOptions.since) : 0; }

    static History ask(const sp<BivistaV1_0>& service, int64_t since) {
        // A busy service serves this call later.
        const Spinner spinner(STDERR_FILENO, std::chrono::seconds(2));
        History history = History::of(service, since);
        if (!history.fault().empty()) throw Failure(EXIT_ANSWERED_FAIL, history.fault());
        return history;
    }

    // Another process serves, whose events have numbers of their own.
    void beginAnew() {
        // One that died and came back between two looks.
        if (!mIsDead) tellDeath();
        mService = BivistaV1_0::tryGetService();
        if (mService == nullptr) return;
        const History history = ask(mService, 0);
        mId = history.service();
        mIsDead = false;
        mCallback.reset();
        printLine({{"event", "service"}, {"state", "started"}});
        remark("the service is back");
        tell(history);
    }

    void tellDeath() {
        mService = nullptr;
        if (std::exchange(mIsDead, true)) return;
        printLine({{"event", "service"}, {"state", "died"}});
        remark("the service died; waiting for another one");
    }

    void tell(const History& history) {
        if (history.lost() > 0) {
            printLine({{"event", "lost"}, {"count", history.lost()}});
            remark(std::to_string(history.lost()) +
                   " events were overwritten before they could be read: look more often");
        }
        for (const Event& event : history.events()) {
            if (isAsked(event)) printEvent(event);
        }
        mLast = history.last();
        tellCallback(history);
    }

    bool isAsked(const Event& event) const {
        return mKinds.empty() ||
               std::find(mKinds.begin(), mKinds.end(), event.kind) != mKinds.end();
    }

    static void printEvent(const Event& event) {
        Json line = {{"event", "history"}};
        line.update(toJson(event));
        printLine(line);
    }

    // At the beginning, and after each change.
    void tellCallback(const History& history) {
        const auto& callback = history.lpwgCallback();
        if (!callback || callback == mCallback) return;
        mCallback = callback;
        printLine({{"event", "callback"}, {"lpwg", orNull(*callback)}});
        if (callback->empty()) {
            remark("no client has registered an LPWG callback: the service reads no touch or pen "
                   "event until one does");
        }
    }

    const PassiveWatch mOptions;
    const std::vector<std::string> mKinds;
    sp<BivistaV1_0> mService;
    std::string mId;
    int64_t mLast = 0;
    bool mIsDead = false;
    std::optional<std::string> mCallback;
};

int followForEver(const PassiveWatch& options, const std::vector<std::string>& kinds) {
    Follower follower(options, kinds);
    for (follower.begin();; follower.look()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(options.interval));
    }
}

}  // namespace

void addPassiveOptions(cli::Command& watch, const std::shared_ptr<PassiveWatch>& options) {
    const cli::Option passive =
            watch.flag("--passive", &options->isAsked,
                       "Follow the service's history, and take no callback from a client");
    watch.take("--interval", &options->interval, "Milliseconds between two looks at the history")
            .showDefault()
            .range(10, 3'600'000)
            .needs(passive);
    watch.take("--since", &options->since, "Begin with the events above this number")
            .check(checkNumber)
            .needs(passive);
}

int follow(const PassiveWatch& options, const std::vector<std::string>& kinds) {
    WatchEnd end;
    std::thread([&] {
        end.set(static_cast<ExitCode>(
                runToExitStatus([&] { return followForEver(options, kinds); })));
    }).detach();
    quick_exit(end.wait());
}

}  // namespace bivistactl
