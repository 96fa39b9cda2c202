// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The listener's side of the calls' ring.
#include "CallRing.h"

#include <fcntl.h>
#include <hwbinder/Parcel.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Registry.h"

namespace android::hardware::calls {

namespace {

constexpr uint64_t kMaxWords = Parcel::kMaxSize / sizeof(uint64_t);

bool isOurMemory(int fd) {
    struct stat status;
    // Were it shrunk, a look at it would kill the listener.
    const int seals = fcntl(fd, F_GET_SEALS);
    return seals >= 0 && (seals & F_SEAL_SHRINK) != 0 && fstat(fd, &status) == 0 &&
           status.st_size == static_cast<off_t>(sizeof(RingMemory));
}

}  // namespace

Mapping::Mapping(int fd) : mMemory(nullptr) {
    if (fd < 0 || !isOurMemory(fd)) return;
    void* const memory =
            mmap(nullptr, sizeof(RingMemory), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory != MAP_FAILED) mMemory = static_cast<RingMemory*>(memory);
}

Mapping::~Mapping() {
    if (mMemory != nullptr) munmap(mMemory, sizeof(RingMemory));
}

std::optional<CallRing> CallRing::receive(int connection) {
    char byte;
    iovec part = {&byte, sizeof(byte)};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    // Not the padding too, which has room for a second descriptor.
    message.msg_controllen = CMSG_LEN(sizeof(int));
    if (recvmsg(connection, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC) <= 0) return std::nullopt;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_type != SCM_RIGHTS) return std::nullopt;
    int fd;
    memcpy(&fd, CMSG_DATA(header), sizeof(fd));
    const base::unique_fd owned(fd);
    Mapping mapping(fd);
    if (mapping.memory() == nullptr) return std::nullopt;
    return CallRing(std::move(mapping));
}

void CallRing::copyOut(uint64_t position, void* to, size_t size) const {
    if (size == 0) return;
    const size_t begin = position % kRingBytes;
    const size_t first = std::min(size, kRingBytes - begin);
    const uint8_t* const bytes = mMapping.memory()->bytes;
    memcpy(to, bytes + begin, first);
    memcpy(static_cast<uint8_t*>(to) + first, bytes, size - first);
}

bool CallRing::takeOne(uint64_t end, CallRecord* record) {
    RecordHead head;
    if (end - mRead < sizeof(head)) return false;
    copyOut(mRead, &head, sizeof(head));
    if (head.requestWords > kMaxWords || head.replyWords > kMaxWords) return false;
    const size_t words = size_t{head.requestWords} + head.replyWords;
    if ((end - mRead - sizeof(head)) / sizeof(uint64_t) < words) return false;
    record->isOutgoing = head.isOutgoing != 0;
    record->code = head.code;
    record->status = head.status;
    record->endNs = std::clamp<int64_t>(head.endNs, 0, nowNs());
    record->beginNs = std::clamp<int64_t>(head.beginNs, 0, record->endNs);
    record->request.resize(head.requestWords);
    record->reply.resize(head.replyWords);
    mRead += sizeof(head);
    for (ParcelWords* part : {&record->request, &record->reply}) {
        copyOut(mRead, part->data(), part->size() * sizeof(uint64_t));
        mRead += part->size() * sizeof(uint64_t);
    }
    return true;
}

std::vector<CallRecord> CallRing::take() {
    std::vector<CallRecord> records;
    // Once: the process goes on meanwhile.
    const uint64_t end = mMapping.memory()->written;
    mIsBroken = mIsBroken || end - mRead > kRingBytes;
    while (!mIsBroken && mRead != end) {
        CallRecord record;
        mIsBroken = !takeOne(end, &record);
        if (!mIsBroken) records.push_back(std::move(record));
    }
    if (!records.empty()) mMapping.memory()->read = mRead;
    return records;
}

uint64_t CallRing::takeLost() {
    return mMapping.memory()->lost.exchange(0);
}

void CallRing::follow(bool isFollowed) {
    mMapping.memory()->isFollowed = isFollowed ? 1 : 0;
}

base::unique_fd listenForCalls(int folder) {
    base::unique_fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/%s", folder,
             kSocketName);
    unlink(address.sun_path);
    // The mode of what bind() makes.
    if (!listener.ok() || fchmod(listener.get(), 0600) != 0 ||
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0) {
        return base::unique_fd();
    }
    return listener;
}

base::unique_fd acceptCaller(int listener) {
    base::unique_fd connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (connection.ok() && !registry::isPeerOfSameUser(connection.get())) {
        connection.reset();
        errno = EPERM;
    }
    return connection;
}

}  // namespace android::hardware::calls
