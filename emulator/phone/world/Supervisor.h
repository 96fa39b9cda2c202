// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Answers the system calls that a filter (SyscallFilter.h) hands over. Emulator thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <linux/seccomp.h>

#include <android-base/unique_fd.h>

#include "emulator/cover/Types.h"
#include "emulator/phone/world/SystemCalls.h"

namespace phone {

// At most one of the first three is set; none: the kernel carries the call out.
struct Verdict {
    int error = 0;                         // refuse with this errno
    android::base::unique_fd replacement;  // answer with this descriptor
    std::optional<int64_t> result;         // answer with this value
    bool closeOnExec = false;              // of the replacement
    std::optional<Numbers> numbers;        // the replacement gets one of these
    std::string output;                    // goes into an ioctl's argument, with `result`
    // Nothing is answered yet: ask again after this time, or when decideWaiting() says so.
    std::optional<cover::Time> askAgainAfter;
};

class Supervisor {
  public:
    // `waited`: it is asked again about this call.
    using Decide = std::function<Verdict(const Call&, bool waited)>;

    Supervisor(android::base::unique_fd listener, Decide decide);

    int fd() const { return mListener.get(); }
    // Answers the call that waits, if one does.
    void answer();

    // Asks again about calls that wait and are due by `now`.
    void decideWaiting(cover::Time now);
    std::optional<cover::Time> nextDeadline() const;

  private:
    struct Waiting {
        seccomp_notif notification;
        Call call;
        cover::Time due{};
        cover::Time came{};
    };

    bool isPending(const seccomp_notif& notification) const;
    void decide(Waiting call, bool waited);
    void reply(const seccomp_notif& notification, const Verdict& verdict) const;
    // False with errno set.
    bool replace(const seccomp_notif& notification, const Verdict& verdict) const;

    const android::base::unique_fd mListener;
    const Decide mDecide;
    std::vector<Waiting> mWaiting;
};

}  // namespace phone
