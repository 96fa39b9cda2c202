// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "host-hidl"

#include "CallRecorder.h"

#include <errno.h>
#include <fcntl.h>
#include <log/log.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "Registry.h"

namespace android::hardware::calls {

namespace {

bool isThisProcess(int connection) {
    ucred peer = {};
    socklen_t size = sizeof(peer);
    return getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.pid == getpid();
}

// A connection to the listener; not ok(), errno set, when there is none.
base::unique_fd connectToListener() {
    const base::unique_fd folder = registry::openDirectory();
    if (!folder.ok()) return base::unique_fd();
    base::unique_fd path(openat(folder.get(), kSocketName, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!path.ok()) return base::unique_fd();
    base::unique_fd connection = registry::connectTo({std::move(path), {}});
    return connection.ok() && isThisProcess(connection.get()) ? base::unique_fd()
                                                              : std::move(connection);
}

base::unique_fd makeMemory() {
    base::unique_fd memory(memfd_create("hidl-calls", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!memory.ok() || ftruncate(memory.get(), sizeof(RingMemory)) != 0 ||
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        return base::unique_fd();
    }
    return memory;
}

bool handOut(int connection, int memory) {
    char byte = 0;
    iovec part = {&byte, sizeof(byte)};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(memory))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_len = CMSG_LEN(sizeof(memory));
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    memcpy(CMSG_DATA(header), &memory, sizeof(memory));
    return sendmsg(connection, &message, MSG_NOSIGNAL) == sizeof(byte);
}

}  // namespace

std::atomic<CallRecorder*> CallRecorder::sInstance{nullptr};

void CallRecorder::connect() {
    static auto* const mutex = new Mutex;
    const AutoMutex lock(*mutex);
    if (get() != nullptr) return;
    errno = 0;
    base::unique_fd listener = connectToListener();
    const bool isUnknown = errno == EMFILE || errno == ENFILE;
    if (!listener.ok() && !isUnknown) return;
    const base::unique_fd memory = listener.ok() ? makeMemory() : base::unique_fd();
    Mapping ring(memory.get());
    if (ring.memory() == nullptr || !handOut(listener.get(), memory.get())) {
        ALOGW("Calls are not recorded: %s", strerror(errno));
        return;
    }
    // For ever: a call that is under way may use one whose listener is gone.
    static auto* const recorders = new std::vector<std::unique_ptr<CallRecorder>>;
    recorders->emplace_back(new CallRecorder(std::move(listener), std::move(ring)));
    sInstance.store(recorders->back().get(), std::memory_order_release);
}

void CallRecorder::copyIn(const void* from, size_t size) {
    if (size == 0) return;
    const size_t begin = mWritten % kRingBytes;
    const size_t first = std::min(size, kRingBytes - begin);
    uint8_t* const bytes = mRing.memory()->bytes;
    memcpy(bytes + begin, from, first);
    memcpy(bytes, static_cast<const uint8_t*>(from) + first, size - first);
    mWritten += size;
}

// Returns whether the bell must ring.
bool CallRecorder::write(const CallRecord& record) {
    RingMemory& ring = *mRing.memory();
    const RecordHead head = {.requestWords = static_cast<uint32_t>(record.request.size()),
                             .replyWords = static_cast<uint32_t>(record.reply.size()),
                             .code = record.code,
                             .isOutgoing = record.isOutgoing,
                             .status = record.status,
                             .unused = 0,
                             .beginNs = record.beginNs,
                             .endNs = record.endNs};
    const size_t requestBytes = record.request.size() * sizeof(uint64_t);
    const size_t replyBytes = record.reply.size() * sizeof(uint64_t);
    const uint64_t used = mWritten - ring.read;
    if (used > kRingBytes || kRingBytes - used < sizeof(head) + requestBytes + replyBytes) {
        ++ring.lost;
        return true;
    }
    copyIn(&head, sizeof(head));
    copyIn(record.request.data(), requestBytes);
    copyIn(record.reply.data(), replyBytes);
    ring.written = mWritten;
    // A listener that sets the flag looks into the ring after that: one of both sees the other.
    return ring.isFollowed != 0 || mWritten - ring.read >= kRingBytes / 2;
}

bool CallRecorder::add(const CallRecord& record) {
    const AutoMutex lock(mMutex);
    return write(record);
}

void CallRecorder::ring() {
    if (send(mListener.get(), "", 1, MSG_DONTWAIT | MSG_NOSIGNAL) == 1) return;
    // A listener that has bells to read already needs no more.
    if (errno != EPIPE && errno != ECONNRESET) return;
    CallRecorder* self = this;
    sInstance.compare_exchange_strong(self, nullptr);
}

void RecordedCall::begin(bool isOutgoing, uint32_t code, const Parcel& request) {
    mRecord.isOutgoing = isOutgoing;
    mRecord.code = code;
    mRecord.request = request.contents().words;
    mRecord.beginNs = nowNs();
}

void RecordedCall::finish(status_t status, const ParcelWords& reply) {
    mRecord.endNs = nowNs();
    mRecord.status = status;
    if (status == OK) mRecord.reply = reply;
    mMustRing = mRecorder->add(mRecord);
}

}  // namespace android::hardware::calls
