// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/uevent.h>

#include <errno.h>
#include <linux/netlink.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Closes without losing the cause of the failure.
int closeFailed(int fd) {
    int cause = errno;
    close(fd);
    errno = cause;
    return -1;
}

const ucred* credentialsIn(msghdr* message) {
    for (cmsghdr* item = CMSG_FIRSTHDR(message); item != nullptr;
         item = CMSG_NXTHDR(message, item)) {
        if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_CREDENTIALS) {
            return reinterpret_cast<const ucred*>(CMSG_DATA(item));
        }
    }
    return nullptr;
}

// Any process may send to the group or to this socket: the kernel alone has port 0 and speaks to
// the group as root.
bool isKernelBroadcast(const sockaddr_nl& sender, const ucred* credentials) {
    return sender.nl_pid == 0 && sender.nl_groups != 0 && credentials != nullptr &&
           credentials->uid == 0;
}

}  // namespace

int uevent_open_socket(int buf_sz, bool passcred) {
    int fd = socket(PF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    if (fd < 0) return -1;

    // The forced size needs CAP_NET_ADMIN; the plain one is cut to the system's limit.
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &buf_sz, sizeof(buf_sz)) < 0 &&
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &buf_sz, sizeof(buf_sz)) < 0) {
        return closeFailed(fd);
    }
    int on = passcred;
    if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)) < 0) return closeFailed(fd);

    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 0xffffffff;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0) {
        return closeFailed(fd);
    }
    return fd;
}

ssize_t uevent_kernel_multicast_recv(int socket, void* buffer, size_t length) {
    sockaddr_nl sender = {};
    iovec block = {buffer, length};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message = {};
    message.msg_name = &sender;
    message.msg_namelen = sizeof(sender);
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);

    ssize_t count = TEMP_FAILURE_RETRY(recvmsg(socket, &message, 0));
    if (count <= 0 || isKernelBroadcast(sender, credentialsIn(&message))) return count;
    memset(buffer, 0, length);
    errno = EIO;
    return -1;
}
