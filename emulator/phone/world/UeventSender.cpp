// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/UeventSender.h"

#include <cerrno>
#include <cstring>

#include <linux/netlink.h>
#include <sys/socket.h>

#include "emulator/phone/Error.h"

namespace phone {

UeventSender::UeventSender()
    : mSocket(socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT)) {
    if (!mSocket.ok()) throwErrno("cannot make a netlink socket for uevents");
}

void UeventSender::throughKernel(const std::string& event) const {
    nlmsghdr header = {};
    header.nlmsg_len = static_cast<uint32_t>(NLMSG_HDRLEN + event.size());
    header.nlmsg_type = NLMSG_MIN_TYPE;
    header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    const std::string head(reinterpret_cast<const char*>(&header), sizeof(header));
    if (!asProcess(head + event, 0, 0)) throwErrno("cannot raise a uevent");

    char reply[4096];
    const ssize_t count = recv(mSocket.get(), reply, sizeof(reply), 0);
    if (count < 0) throwErrno("cannot read the kernel's answer to a uevent");
    int error = -EIO;
    if (count >= static_cast<ssize_t>(NLMSG_LENGTH(sizeof(error)))) {
        memcpy(&error, NLMSG_DATA(reply), sizeof(error));
    }
    if (error == 0) return;
    errno = -error;
    throwErrno("the kernel refuses to raise a uevent");
}

void UeventSender::forge(const std::string& event) const {
    // The multicast group of the kernel's own uevents.
    constexpr uint32_t kKernelGroup = 1;
    if (!asProcess(event, 0, kKernelGroup)) throwErrno("cannot send a uevent");
}

bool UeventSender::asProcess(const std::string& bytes, uint32_t port, uint32_t group) const {
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    address.nl_groups = group;
    return sendto(mSocket.get(), bytes.data(), bytes.size(), 0,
                  reinterpret_cast<sockaddr*>(&address),
                  sizeof(address)) == static_cast<ssize_t>(bytes.size());
}

}  // namespace phone
