// Answers the system calls that a filter (SyscallFilter.h) hands over. Emulator thread only.
//
// A call that comes to be handled is a row in the table of Supervisor.cpp, and an alternative of
// Call when it is of a new kind.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

#include <linux/seccomp.h>

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

using Call = std::variant<OpenCall, IoctlCall>;

// At most one of the first three is set; none: the kernel carries the call out.
struct Verdict {
    int error = 0;                  // refuse with this errno
    Fd replacement;                 // answer with this descriptor
    std::optional<int64_t> result;  // answer with this value
    bool closeOnExec = false;       // of the replacement
};

class Supervisor {
  public:
    using Decide = std::function<Verdict(const Call&)>;

    Supervisor(Fd listener, Decide decide);

    // What a filter must hand over.
    static std::vector<HandledCall> handledCalls();

    int fd() const { return mListener.get(); }
    // Answers the call that waits, if one does.
    void answer();

  private:
    void reply(const seccomp_notif& notification, const Verdict& verdict) const;

    const Fd mListener;
    const Decide mDecide;
};

}  // namespace phone
