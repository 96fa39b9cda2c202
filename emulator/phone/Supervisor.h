// Answers the system calls that a filter (SyscallFilter.h) hands over. Emulator thread only.
//
// A call that comes to be handled is a row in the table of Supervisor.cpp, and an alternative of
// Call when it is of a new kind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <linux/seccomp.h>

#include "emulator/cover/Types.h"
#include "emulator/phone/Fd.h"
#include "emulator/phone/SyscallFilter.h"

namespace phone {

// open(), creat(), openat(), openat2(); access(), faccessat(), faccessat2().
struct OpenCall {
    std::filesystem::path path;  // absolute, as the caller wrote it otherwise
    bool isTest = false;         // access(): nothing is opened
    int flags = 0;               // of open()
    int mode = 0;                // of access()

    bool reads() const;
    bool writes() const;
};

// ioctl() with a request that points to an int.
struct IoctlCall {
    std::filesystem::path file;  // what the descriptor is open on, as /proc shows it
    uint32_t request = 0;
    std::optional<int> value;  // none: the pointer is bad
};

// write() to a descriptor from kFirstWatched on, or ioctl() of a hidraw feature report.
struct ReportCall {
    enum class Kind { Write, GetFeature, SetFeature };
    Kind kind = Kind::Write;
    std::filesystem::path file;  // what the descriptor is open on, as /proc shows it
    size_t size = 0;             // of the buffer
    // What the buffer holds, at most kMaxReport bytes; of GetFeature the first. None: the pointer
    // is bad.
    std::optional<std::string> bytes;
};
// As the kernel's HID layer.
inline constexpr size_t kMaxReport = 16384;

// Writes to descriptors of these numbers are handed over.
inline constexpr uint32_t kFirstWatched = 960;
inline constexpr uint32_t kEndWatched = 1024;

using Call = std::variant<OpenCall, IoctlCall, ReportCall>;

// At most one of the first three is set; none: the kernel carries the call out.
struct Verdict {
    int error = 0;                  // refuse with this errno
    Fd replacement;                 // answer with this descriptor
    std::optional<int64_t> result;  // answer with this value
    bool closeOnExec = false;       // of the replacement
    bool watched = false;           // the replacement gets a number from kFirstWatched on
    std::string output;             // goes into the buffer of GetFeature, with `result`
    // Nothing is answered yet: ask again after this time, or when decideWaiting() says so.
    std::optional<cover::Time> askAgainAfter;
};

class Supervisor {
  public:
    // `waited`: it is asked again about this call.
    using Decide = std::function<Verdict(const Call&, bool waited)>;

    Supervisor(Fd listener, Decide decide);

    // What a filter must hand over.
    static std::vector<HandledCall> handledCalls();

    int fd() const { return mListener.get(); }
    // Answers the call that waits, if one does.
    void answer();

    // Asks again about calls that wait and are due by `now`, or about all.
    void decideWaiting(std::optional<cover::Time> now = std::nullopt);
    std::optional<cover::Time> nextDeadline() const;

  private:
    struct Waiting {
        seccomp_notif notification;
        Call call;
        cover::Time due{};
    };

    bool isPending(const seccomp_notif& notification) const;
    void decide(Waiting call, bool waited);
    void reply(const seccomp_notif& notification, const Verdict& verdict) const;
    // False with errno set.
    bool replace(const seccomp_notif& notification, const Verdict& verdict) const;

    const Fd mListener;
    const Decide mDecide;
    std::vector<Waiting> mWaiting;
};

}  // namespace phone
