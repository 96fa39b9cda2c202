// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/StateWait.h"

#include <utils/Mutex.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "tools/ExitStatus.h"
#include "tools/doctor/Patience.h"

namespace bivistactl {
namespace {

using ::android::sp;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kFirstPause(10);
constexpr milliseconds kLongestPause(200);
// Between two questions to the cover.
constexpr milliseconds kFirstRest(1000);
constexpr milliseconds kLongestRest(8000);

// Lives on as long as a thread looks.
class Watch {
  public:
    Watch(const Conditions& conditions, steady_clock::time_point end)
        : mConditions(conditions), mEnd(end) {}

    // Whether all conditions have held.
    bool run() {
        for (milliseconds pause = kFirstPause;; pause = std::min(2 * pause, kLongestPause)) {
            if (look()) return true;
            const auto now = steady_clock::now();
            if (now >= mEnd) return false;
            std::this_thread::sleep_until(std::min(mEnd, now + pause));
        }
    }

    // Any thread.
    View last() EXCLUDES(mLock) {
        const ::android::AutoMutex lock(mLock);
        return mLast;
    }

  private:
    bool look() {
        try {
            const sp<BivistaV1_0> service = findService();
            View view = see(service);
            const bool isDue = mConditions.firmware && steady_clock::now() >= mNextQuestion;
            if (isDue && view.presence == Presence::ATTACHED && holdsButFirmware(view)) {
                askForVersion(service);
                // The answer may have taken seconds.
                view = see(service);
            }
            return holdsButFirmware(view) && view.firmware == mConditions.firmware;
        } catch (const Failure& failure) {
            if (failure.code != EXIT_NO_SERVICE) throw;
            forgetVersion();
            put({.absence = failure.what()});
            return false;
        }
    }

    View see(const sp<BivistaV1_0>& service) {
        const bool isOnUsb = call<&BivistaV1_0::getBV2Connect>(service);
        View view = {.absence = "", .sub = valueOf<&BivistaV1_0::getSubDisplayPowerState>(service)};
        const Dump dump = Dump::of(service);
        view.presence = presenceOf(isOnUsb, dump);
        view.screen = isScreenOn(dump);
        view.fault = dump.fault();
        // The next cover may have another.
        if (view.presence != Presence::ATTACHED) forgetVersion();
        view.firmware = mVersion;
        put(view);
        return view;
    }

    bool holdsButFirmware(const View& view) const {
        const Presence wanted =
                mConditions.attached == true ? Presence::ATTACHED : Presence::DETACHED;
        return (!mConditions.attached || view.presence == wanted) &&
               (!mConditions.screen || view.screen == mConditions.screen) &&
               (!mConditions.sub ||
                (view.sub.is_object() && view.sub["state"] == *mConditions.sub));
    }

    void askForVersion(const sp<BivistaV1_0>& service) {
        const auto answer = call<&BivistaV1_0::getFirmwareVersion>(service);
        mVersion.reset();
        if (answer.status == Status::OK) mVersion = answer.value;
        mNextQuestion = steady_clock::now() + mRest;
        mRest = std::min(2 * mRest, kLongestRest);
    }

    void forgetVersion() {
        mVersion.reset();
        mNextQuestion = {};
        mRest = kFirstRest;
    }

    void put(const View& view) EXCLUDES(mLock) {
        const ::android::AutoMutex lock(mLock);
        mLast = view;
    }

    const Conditions mConditions;
    const steady_clock::time_point mEnd;
    // Of the thread that looks.
    std::optional<std::string> mVersion;
    steady_clock::time_point mNextQuestion;
    milliseconds mRest = kFirstRest;

    ::android::Mutex mLock;
    View mLast GUARDED_BY(mLock);
};

}  // namespace

StateWaited waitForState(const Conditions& conditions, milliseconds timeout,
                         milliseconds patience) {
    const auto watch = std::make_shared<Watch>(conditions, steady_clock::now() + timeout);
    const std::optional<bool> met =
            doctor::within(timeout + patience, [watch] { return watch->run(); });
    return {.last = watch->last(), .met = met == true, .silent = !met};
}

}  // namespace bivistactl
