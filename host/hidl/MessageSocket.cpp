#include "MessageSocket.h"

#include <capnp/message.h>
#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>
#include <fcntl.h>
#include <hwbinder/Parcel.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace android::hardware {

namespace {

using capnp::word;

constexpr size_t kAheadSize = 16 * 1024;
constexpr uint32_t kMaxSegments = 512;
constexpr size_t kMaxParts = 16;

// After so many messages others have their chance.
constexpr int kMaxBurst = 64;

[[noreturn]] void throwOf(kj::Exception::Type type, const char* why) {
    kj::throwFatalException(kj::Exception(type, __FILE__, __LINE__, kj::heapString(why)));
}

[[noreturn]] void throwLost(const char* why) {
    throwOf(kj::Exception::Type::DISCONNECTED, why);
}

[[noreturn]] void throwFailed(const char* why) {
    throwOf(kj::Exception::Type::FAILED, why);
}

bool hasResultsWithObjects(capnp::MessageReader& reader) {
    const auto message = reader.getRoot<capnp::rpc::Message>();
    if (!message.isReturn() || !message.getReturn().isResults()) return false;
    return message.getReturn().getResults().getCapTable().size() > 0;
}

std::vector<kj::byte> joined(const std::vector<iovec>& parts) {
    std::vector<kj::byte> all;
    for (const iovec& part : parts) {
        const auto* bytes = static_cast<const kj::byte*>(part.iov_base);
        all.insert(all.end(), bytes, bytes + part.iov_len);
    }
    return all;
}

UniqueFd nonBlocking(UniqueFd socket) {
    fcntl(socket.get(), F_SETFL, fcntl(socket.get(), F_GETFL) | O_NONBLOCK);
    return socket;
}

}  // namespace

MessageSocket::MessageSocket(Loop& loop, UniqueFd socket)
    : Watch(loop, nonBlocking(std::move(socket))), mAhead(kAheadSize) {}

void MessageSocket::ready(bool hungUp) {
    mHungUp = hungUp;
    mBurst = 0;
    mDrained = false;
    continueRead();
    continueWrite();
}

// --- reading ---

kj::Promise<MessageSocket::Message> MessageSocket::tryReadMessage(
        kj::ArrayPtr<kj::AutoCloseFd> fdSpace, capnp::ReaderOptions options,
        kj::ArrayPtr<word> /*scratchSpace*/) {
    return kj::evalNow([&] { return read(fdSpace, options); });
}

kj::Promise<MessageSocket::Message> MessageSocket::read(kj::ArrayPtr<kj::AutoCloseFd> fdSpace,
                                                        const capnp::ReaderOptions& options) {
    Progress progress = Progress::BLOCKED;
    if (++mBurst <= kMaxBurst) {
        progress = assemble(options);
    } else {
        watchReading();
    }
    if (progress == Progress::DONE) return Message(finish(fdSpace, options));
    if (progress == Progress::ENDED) return Message(nullptr);
    auto waiting = kj::newPromiseAndFulfiller<Message>();
    mRead = PendingRead{fdSpace, options, kj::mv(waiting.fulfiller)};
    return kj::mv(waiting.promise);
}

void MessageSocket::continueRead() {
    KJ_IF_MAYBE (read, mRead) {
        PendingRead& pending = *read;
        if (!pending.fulfiller->isWaiting()) return;
        bool finished = true;
        pending.fulfiller->rejectIfThrows([&] {
            const Progress progress = assemble(pending.options);
            if (progress == Progress::BLOCKED) {
                finished = false;
            } else if (progress == Progress::ENDED) {
                pending.fulfiller->fulfill(nullptr);
            } else {
                pending.fulfiller->fulfill(finish(pending.fdSpace, pending.options));
            }
        });
        if (finished) mRead = nullptr;
    }
}

MessageSocket::Progress MessageSocket::assemble(const capnp::ReaderOptions& options) {
    for (;;) {
        if (takeFromAhead()) {
            if (!growToKnownSize(options)) return Progress::DONE;
            continue;
        }
        const Progress progress = receive();
        if (progress != Progress::DONE) return progress;
    }
}

// Whether the message is filled as far as it is known.
bool MessageSocket::takeFromAhead() {
    const size_t size = mMessage.size() * sizeof(word);
    const size_t taken = std::min(size - mFilled, mAheadEnd - mAheadStart);
    if (taken > 0) {
        memcpy(mMessage.asBytes().begin() + mFilled, mAhead.data() + mAheadStart, taken);
        mFilled += taken;
        mAheadStart += taken;
    }
    return mFilled == size;
}

// Whether there is more to the message than was known. At first nothing is known but that it begins
// with a word.
bool MessageSocket::growToKnownSize(const capnp::ReaderOptions& options) {
    size_t size = 1;
    if (mMessage.size() > 0) {
        uint32_t lastSegment;
        memcpy(&lastSegment, mMessage.begin(), sizeof(lastSegment));
        if (lastSegment >= kMaxSegments) throwFailed("a message has too many segments");
        size = capnp::expectedSizeInWordsFromPrefix(mMessage);
        if (size > options.traversalLimitInWords) throwFailed("a message is too large");
        if (size <= mMessage.size()) return false;
    }
    auto larger = kj::heapArray<word>(size);
    if (mFilled > 0) memcpy(larger.begin(), mMessage.begin(), mFilled);
    mMessage = kj::mv(larger);
    return true;
}

// Receives what the message lacks, and what is there behind it; all of it ahead when it lacks
// little.
MessageSocket::Progress MessageSocket::receive() {
    if (mDrained) return Progress::BLOCKED;
    const size_t size = mMessage.size() * sizeof(word);
    const size_t lacking = size - mFilled;
    const size_t direct = lacking < kAheadSize ? 0 : lacking;
    iovec parts[] = {{mMessage.asBytes().begin() + mFilled, direct}, {mAhead.data(), kAheadSize}};
    alignas(cmsghdr) char control[CMSG_SPACE(Parcel::kMaxDescriptors * sizeof(int))];
    msghdr header = {};
    header.msg_iov = parts;
    header.msg_iovlen = std::size(parts);
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    const ssize_t result = recvmsg(fd(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (result < 0) {
        if (errno == EAGAIN) return Progress::BLOCKED;
        throwLost("recvmsg failed");
    }
    if (result == 0) {
        if (mFilled == 0) return Progress::ENDED;
        throwLost("message is cut short");
    }
    const size_t received = static_cast<size_t>(result);
    mReceivedBytes += received;
    // A short read has taken all, unless descriptors ended it, or the end of the stream is next.
    mDrained = received < direct + kAheadSize && header.msg_controllen == 0 && !mHungUp;
    keepDescriptors(header);
    mFilled += std::min(received, direct);
    mAheadStart = 0;
    mAheadEnd = received - std::min(received, direct);
    return Progress::DONE;
}

// The kernel ends a read behind the bytes that descriptors came with: they belong to the message
// that the last byte belongs to.
void MessageSocket::keepDescriptors(msghdr& header) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c != nullptr; c = CMSG_NXTHDR(&header, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
        const size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int fd;
            memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof(fd));
            UniqueFd owned(fd);
            // A peer that sends more than a message may have loses them.
            if (mReceivedFds.size() < Parcel::kMaxDescriptors) {
                mReceivedFds.push_back({mReceivedBytes, std::move(owned)});
            }
        }
    }
}

capnp::MessageReaderAndFds MessageSocket::finish(kj::ArrayPtr<kj::AutoCloseFd> fdSpace,
                                                 const capnp::ReaderOptions& options) {
    mConsumedBytes += mFilled;
    mFilled = 0;
    size_t count = 0;
    while (!mReceivedFds.empty() && mReceivedFds.front().position <= mConsumedBytes) {
        if (count < fdSpace.size()) {
            fdSpace[count++] = kj::AutoCloseFd(mReceivedFds.front().fd.release());
        }
        mReceivedFds.pop_front();
    }
    auto message = kj::mv(mMessage);
    mMessage = nullptr;
    auto reader = kj::heap<capnp::FlatArrayMessageReader>(message, options);
    if (hasResultsWithObjects(*reader)) mGotObjects = true;
    return {reader.attach(kj::mv(message)), fdSpace.slice(0, count)};
}

// --- writing ---

kj::Promise<void> MessageSocket::writeMessage(
        kj::ArrayPtr<const int> fds, kj::ArrayPtr<const kj::ArrayPtr<const word>> segments) {
    if (mWrite != nullptr) throwFailed("a message is being written already");
    mTable.clear();
    mTable.push_back(static_cast<uint32_t>(segments.size() - 1));
    for (auto& segment : segments) mTable.push_back(static_cast<uint32_t>(segment.size()));
    if (mTable.size() % 2 != 0) mTable.push_back(0);

    std::vector<iovec> parts;
    mSending = std::move(mHeld);
    mHeld.clear();
    if (!mSending.empty()) parts.push_back({mSending.data(), mSending.size()});
    parts.push_back({mTable.data(), mTable.size() * sizeof(uint32_t)});
    for (auto& segment : segments) {
        parts.push_back({const_cast<word*>(segment.begin()), segment.size() * sizeof(word)});
    }
    if (mSending.empty() && fds.size() == 0 && mayWait(segments)) {
        mHeld = joined(parts);
        return kj::READY_NOW;
    }
    std::vector<int> unsent(fds.begin(), fds.end());
    if (sendParts(parts, unsent) == Progress::DONE) return kj::READY_NOW;
    keep(parts);
    auto waiting = kj::newPromiseAndFulfiller<void>();
    mWrite = PendingWrite{std::move(parts), std::move(unsent), kj::mv(waiting.fulfiller)};
    watchWriting();
    return kj::mv(waiting.promise);
}

// What the peer does not take now goes out from here: the segments are not ours for longer.
void MessageSocket::keep(std::vector<iovec>& parts) {
    mSending = joined(parts);
    parts = {{mSending.data(), mSending.size()}};
}

// Whether it only tells that results have come, and nothing depends on the peer's knowing now.
bool MessageSocket::mayWait(kj::ArrayPtr<const kj::ArrayPtr<const word>> segments) {
    capnp::SegmentArrayMessageReader reader(segments);
    if (!reader.getRoot<capnp::rpc::Message>().isFinish()) return false;
    return !std::exchange(mGotObjects, false);
}

kj::Promise<void> MessageSocket::writeMessages(
        kj::ArrayPtr<kj::ArrayPtr<const kj::ArrayPtr<const word>>> messages) {
    if (messages.size() == 0) return kj::READY_NOW;
    return writeMessage(nullptr, messages[0]).then([this, messages]() mutable {
        return writeMessages(messages.slice(1, messages.size()));
    });
}

void MessageSocket::continueWrite() {
    KJ_IF_MAYBE (write, mWrite) {
        PendingWrite& pending = *write;
        bool finished = true;
        pending.fulfiller->rejectIfThrows([&] {
            finished = sendParts(pending.parts, pending.fds) == Progress::DONE;
            if (finished) pending.fulfiller->fulfill();
        });
        if (finished) {
            mWrite = nullptr;
            watchReading();
        }
    }
}

// Sends what the peer's buffer takes, and leaves the rest. Descriptors go with the first byte.
MessageSocket::Progress MessageSocket::sendParts(std::vector<iovec>& parts, std::vector<int>& fds) {
    while (!parts.empty()) {
        msghdr header = {};
        header.msg_iov = parts.data();
        header.msg_iovlen = std::min(parts.size(), kMaxParts);
        alignas(cmsghdr) char control[CMSG_SPACE(Parcel::kMaxDescriptors * sizeof(int))] = {};
        if (fds.size() > Parcel::kMaxDescriptors) throwFailed("too many descriptors");
        if (!fds.empty()) {
            header.msg_control = control;
            header.msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
            cmsghdr* rights = CMSG_FIRSTHDR(&header);
            rights->cmsg_level = SOL_SOCKET;
            rights->cmsg_type = SCM_RIGHTS;
            rights->cmsg_len = CMSG_LEN(fds.size() * sizeof(int));
            memcpy(CMSG_DATA(rights), fds.data(), fds.size() * sizeof(int));
        }
        const ssize_t sent = sendmsg(fd(), &header, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EAGAIN) return Progress::BLOCKED;
            if (errno == EINTR) continue;
            throwLost("sendmsg failed");
        }
        fds.clear();
        size_t left = static_cast<size_t>(sent);
        size_t whole = 0;
        while (whole < parts.size() && left >= parts[whole].iov_len) left -= parts[whole++].iov_len;
        parts.erase(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(whole));
        if (left > 0) {
            parts[0].iov_base = static_cast<char*>(parts[0].iov_base) + left;
            parts[0].iov_len -= left;
        }
    }
    return Progress::DONE;
}

kj::Promise<void> MessageSocket::end() {
    shutdown(fd(), SHUT_WR);
    return kj::READY_NOW;
}

}  // namespace android::hardware
