// Answers the system calls that a filter (SyscallFilter.h) hands over. Emulator thread only.
//
// Other calls find their place here in the same way: ioctl(TIOCMBIS, TIOCMBIC) for the tty's DTR,
// and the hidraw requests, which a filter can tell by their request number.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include <linux/seccomp.h>
#include <sys/types.h>

#include "emulator/phone/Fd.h"

namespace phone {

struct OpenCall {
    std::filesystem::path path;  // absolute, as the caller wrote it otherwise
    bool isTest = false;         // access(): nothing is opened
    int flags = 0;               // of open()
    int mode = 0;                // of access()

    bool reads() const;
    bool writes() const;
};

struct Verdict {
    int error = 0;   // refuse with this errno
    Fd replacement;  // or answer with this descriptor; neither: the kernel carries the call out
};

class Supervisor {
  public:
    using Decide = std::function<Verdict(const OpenCall&)>;

    Supervisor(Fd listener, Decide decide);

    int fd() const { return mListener.get(); }
    // Answers the call that waits, if one does.
    void answer();

  private:
    bool readCall(const seccomp_notif& call, OpenCall* open) const;
    void reply(const seccomp_notif& call, const Verdict& verdict, bool closeOnExec) const;

    const Fd mListener;
    const Decide mDecide;
};

}  // namespace phone
