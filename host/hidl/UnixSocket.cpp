// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "UnixSocket.h"

#include <fcntl.h>
#include <hwbinder/Parcel.h>
#include <kj/debug.h>
#include <kj/io.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "Loop.h"

namespace android::hardware {

namespace {

using Bytes = kj::ArrayPtr<const kj::byte>;

constexpr size_t kMaxParts = 16;

union Control {
    cmsghdr header;
    char bytes[CMSG_SPACE(Parcel::kMaxDescriptors * sizeof(int))];
};

size_t takeDescriptors(msghdr& message, kj::AutoCloseFd* fds, size_t maxFds) {
    size_t count = 0;
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
        for (size_t at = CMSG_LEN(0); at < c->cmsg_len; at += sizeof(int)) {
            int fd;
            memcpy(&fd, reinterpret_cast<char*>(c) + at, sizeof(fd));
            kj::AutoCloseFd owned(fd);
            if (count < maxFds) fds[count++] = kj::mv(owned);
        }
    }
    return count;
}

class UnixSocket final : public kj::AsyncCapabilityStream {
  public:
    explicit UnixSocket(base::unique_fd socket) : mFd(std::move(socket)), mObserver(mFd.get()) {
        KJ_SYSCALL(fcntl(mFd.get(), F_SETFL, fcntl(mFd.get(), F_GETFL) | O_NONBLOCK));
    }

    kj::Promise<size_t> tryRead(void* buffer, size_t minBytes, size_t maxBytes) override {
        return tryReadWithFds(buffer, minBytes, maxBytes, nullptr, 0).then([](ReadResult result) {
            return result.byteCount;
        });
    }
    kj::Promise<ReadResult> tryReadWithFds(void* buffer, size_t minBytes, size_t maxBytes,
                                           kj::AutoCloseFd* fds, size_t maxFds) override {
        return kj::evalNow([&] {
            return receive(static_cast<char*>(buffer), minBytes, maxBytes, fds, maxFds, {0, 0});
        });
    }
    kj::Promise<void> write(const void* buffer, size_t size) override {
        return writeWithFds({static_cast<const kj::byte*>(buffer), size}, nullptr, nullptr);
    }
    kj::Promise<void> write(kj::ArrayPtr<const Bytes> pieces) override {
        return writeWithFds(nullptr, pieces, nullptr);
    }
    kj::Promise<void> writeWithFds(Bytes data, kj::ArrayPtr<const Bytes> moreData,
                                   kj::ArrayPtr<const int> fds) override {
        std::vector<iovec> parts;
        if (data.size() > 0) parts.push_back({const_cast<kj::byte*>(data.begin()), data.size()});
        for (Bytes piece : moreData) {
            parts.push_back({const_cast<kj::byte*>(piece.begin()), piece.size()});
        }
        return kj::evalNow([&] { return send(std::move(parts), fds); });
    }
    void shutdownWrite() override { shutdown(mFd.get(), SHUT_WR); }

    // Cap'n Proto has no use for these.
    kj::Promise<void> whenWriteDisconnected() override { KJ_UNIMPLEMENTED("a hang-up alone"); }
    kj::Promise<void> writeWithStreams(Bytes, kj::ArrayPtr<const Bytes>,
                                       kj::Array<kj::Own<AsyncCapabilityStream>>) override {
        KJ_UNIMPLEMENTED("streams in streams");
    }
    kj::Promise<ReadResult> tryReadWithStreams(void*, size_t, size_t,
                                               kj::Own<AsyncCapabilityStream>*, size_t) override {
        KJ_UNIMPLEMENTED("streams in streams");
    }

  private:
    kj::Promise<ReadResult> receive(char* buffer, size_t minBytes, size_t maxBytes,
                                    kj::AutoCloseFd* fds, size_t maxFds, ReadResult done) {
        while (done.byteCount < minBytes) {
            iovec part = {buffer + done.byteCount, maxBytes - done.byteCount};
            Control control;
            msghdr message = {};
            message.msg_iov = &part;
            message.msg_iovlen = 1;
            message.msg_control = &control;
            message.msg_controllen = maxFds > done.capCount ? sizeof(control) : 0;
            ssize_t received;
            KJ_NONBLOCKING_SYSCALL(received = recvmsg(mFd.get(), &message, MSG_CMSG_CLOEXEC));
            if (received < 0) {
                return mObserver.whenReadable().then([=, this] {
                    return receive(buffer, minBytes, maxBytes, fds, maxFds, done);
                });
            }
            if (received == 0) break;
            done.byteCount += static_cast<size_t>(received);
            done.capCount += takeDescriptors(message, fds + done.capCount, maxFds - done.capCount);
        }
        return done;
    }

    // Descriptors go with the first byte.
    kj::Promise<void> send(std::vector<iovec> parts, kj::ArrayPtr<const int> fds) {
        while (!parts.empty()) {
            msghdr message = {};
            message.msg_iov = parts.data();
            message.msg_iovlen = std::min(parts.size(), kMaxParts);
            Control control = {};
            if (fds.size() > 0) {
                KJ_REQUIRE(fds.size() <= Parcel::kMaxDescriptors, "too many descriptors");
                message.msg_control = &control;
                message.msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
                control.header = {CMSG_LEN(fds.size() * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
                memcpy(CMSG_DATA(&control.header), fds.begin(), fds.size() * sizeof(int));
            }
            ssize_t sent;
            KJ_NONBLOCKING_SYSCALL(sent = sendmsg(mFd.get(), &message, MSG_NOSIGNAL));
            if (sent < 0) {
                return mObserver.whenWritable().then(
                        [this, parts = std::move(parts), fds]() mutable {
                            return send(std::move(parts), fds);
                        });
            }
            fds = nullptr;
            dropSent(parts, static_cast<size_t>(sent));
        }
        return kj::READY_NOW;
    }

    static void dropSent(std::vector<iovec>& parts, size_t sent) {
        size_t whole = 0;
        while (whole < parts.size() && sent >= parts[whole].iov_len) sent -= parts[whole++].iov_len;
        parts.erase(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(whole));
        if (sent == 0) return;
        parts[0].iov_base = static_cast<char*>(parts[0].iov_base) + sent;
        parts[0].iov_len -= sent;
    }

    const base::unique_fd mFd;
    Loop::Observer mObserver;
};

}  // namespace

kj::Own<kj::AsyncCapabilityStream> streamOf(base::unique_fd socket) {
    return kj::heap<UnixSocket>(std::move(socket));
}

}  // namespace android::hardware
