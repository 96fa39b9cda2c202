// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A uevent received by hand: the system calls that this needs, and nothing else.
#pragma once

#include <string>

#include "bench/ServerProcess.h"
#include "bench/uevent/Arrival.h"
#include "emulator/phone/world/UeventSender.h"

namespace bench {

// A process that waits in recv() of a netlink socket. It has a network namespace of its own, in
// which the kernel broadcasts what is raised there: an event wakes this process or the service,
// never both.
class BareReceiver {
  public:
    // The process is in the world, and no thread was started yet.
    BareReceiver() : BareReceiver(OtherNetwork()) {}

    // Makes the kernel raise the event. Returns the us until the process has received it.
    double receive(const std::string& event);

  private:
    // While it lives the calling thread is in a new network namespace.
    class OtherNetwork {
      public:
        OtherNetwork();
        ~OtherNetwork();
        OtherNetwork(const OtherNetwork&) = delete;
        OtherNetwork& operator=(const OtherNetwork&) = delete;

      private:
        const int mHome;
    };
    explicit BareReceiver(const OtherNetwork&);

    Arrival& mArrival;
    const phone::UeventSender mKernel;
    const int mSocket;
    const ServerProcess mProcess;
};

}  // namespace bench
