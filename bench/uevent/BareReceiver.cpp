// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/uevent/BareReceiver.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

int openUeventSocket() {
    const int fd = socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) fail("netlink");
    return fd;
}

[[noreturn]] void serve(int fd, Arrival& arrival) {
    for (;;) {
        char message[2048];
        if (recv(fd, message, sizeof(message), 0) < 1) fail("a bare netlink receive");
        arrival.tell();
    }
}

}  // namespace

BareReceiver::OtherNetwork::OtherNetwork()
    : mHome(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
    if (mHome < 0 || unshare(CLONE_NEWNET) != 0) fail("a second network namespace");
}

BareReceiver::OtherNetwork::~OtherNetwork() {
    if (setns(mHome, CLONE_NEWNET) != 0) fail("back to the first network namespace");
    close(mHome);
}

// A socket stays in the namespace in which it was made.
BareReceiver::BareReceiver(const OtherNetwork&)
    : mArrival(Arrival::make()),
      mSocket(openUeventSocket()),
      mProcess([this] { serve(mSocket, mArrival); }) {}

double BareReceiver::receive(const std::string& event) {
    mArrival.forget();
    const double start = now();
    mKernel.throughKernel(event);
    return mArrival.await() - start;
}

}  // namespace bench
