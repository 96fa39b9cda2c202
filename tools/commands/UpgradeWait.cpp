// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/commands/UpgradeWait.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <thread>

#include "tools/client/Call.h"
#include "tools/text/Spinner.h"

namespace bivistactl {
namespace {

using ::android::sp;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Often enough for a person, and to see a loader that stays for a second. Costs the service little.
constexpr milliseconds kPeriod(200);

// The first command to every cover that comes.
constexpr DumpMember kAttachments = {"commands", "count", "name", "ATE0"};

int64_t attachmentsOf(const Dump& dump) {
    return dump.number(kAttachments).value_or(0);
}

class Wait {
  public:
    Wait(sp<BivistaV1_0> service, const Dump& start,
         const std::function<void(const Phase&)>& reached)
        : mService(std::move(service)), mAttachments(attachmentsOf(start)), mReached(reached) {
        reach("started");
    }

    Waited run(std::chrono::seconds timeout) {
        const auto end = mStart + timeout;
        for (;;) {
            look(Dump::of(mService));
            const auto now = steady_clock::now();
            if (mLast.isBack() || now >= end) break;
            std::this_thread::sleep_for(std::min<steady_clock::duration>(kPeriod, end - now));
        }
        mSpinner.reset();
        return mLast;
    }

  private:
    void look(const Dump& dump) {
        const std::optional<bool> usb = dump.flag({"usb", "attached"});
        const std::optional<bool> serial = dump.flag({"serial", "attached"});
        if (!usb || !serial) return;
        const bool attached = *usb && *serial;
        if (!attached) {
            // The cover that comes next may be asked again.
            mLast.silent = false;
            if (!mGone) reach("cover gone");
            mGone = true;
        }
        if (mGone && !mLoader && dump.flag({"usb", "loader"}) == true) {
            reach("loader seen");
            mLoader = true;
        }
        // A cover may be gone and back between two looks.
        const bool returned = mGone || attachmentsOf(dump) > mAttachments;
        // The last step of an attach.
        const bool broughtUp = attached && dump.flag({"serial", "logAsked"}) == true;
        if (returned && broughtUp && !mLast.silent) askForVersion();
    }

    // Once for each time that the cover comes: a cover that does not answer is reset.
    void askForVersion() {
        mSpinner.reset();
        const auto version = ask<&BivistaV1_0::getFirmwareVersion>(mService);
        // The text is empty when the cover hung up.
        if (version.status == Status::OK && !version.value.empty()) {
            reach("cover back", version.value);
        } else {
            mLast.silent = true;
            spin();
        }
    }

    void reach(const std::string& name, const std::string& version = "") {
        const std::chrono::duration<double> since = steady_clock::now() - mStart;
        mLast.last = {name, since.count(), version};
        mSpinner.reset();
        mReached(mLast.last);
        if (version.empty()) spin();
    }

    void spin() { mSpinner.emplace(STDERR_FILENO, milliseconds(300), "the cover"); }

    const sp<BivistaV1_0> mService;
    const int64_t mAttachments;
    const std::function<void(const Phase&)> mReached;
    const steady_clock::time_point mStart = steady_clock::now();
    std::optional<Spinner> mSpinner;
    bool mGone = false;
    bool mLoader = false;
    Waited mLast;
};

}  // namespace

Waited waitForUpgrade(const sp<BivistaV1_0>& service, const Dump& start,
                      std::chrono::seconds timeout,
                      const std::function<void(const Phase&)>& reached) {
    return Wait(service, start, reached).run(timeout);
}

}  // namespace bivistactl
