// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/calls/ClientCalls.h"

#include <cerrno>
#include <map>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/calls/CallDecoder.h"
#include "host/hidl/CallRing.h"

namespace calls {

using android::base::unique_fd;
using android::hardware::calls::CallRecord;
using android::hardware::calls::CallRing;

namespace {

// A phone has one service for the cover; the others are of tests, or on their way out.
constexpr size_t kMaxServices = 16;

struct Service {
    unique_fd connection;
    // None until the service has sent it.
    std::optional<CallRing> ring{};
};

}  // namespace

// The rings of all services. Its users may outlive the ClientCalls.
class ClientCalls::Rings : public phone::Source {
  public:
    explicit Rings(phone::Journal& journal) : mJournal(journal) {}

    void drain() override EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        for (auto& [fd, service] : mServices) take(service);
    }

    void follow(bool isFollowed) override EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        mIsFollowed = isFollowed;
        for (auto& [fd, service] : mServices) {
            if (service.ring) service.ring->follow(isFollowed);
        }
    }

    // False when there are too many.
    bool add(unique_fd connection) EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        if (mServices.size() >= kMaxServices) {
            remark("the calls of a service are missing: " + std::to_string(kMaxServices) +
                   " others hand out theirs");
            return false;
        }
        const int fd = connection.get();
        mServices.emplace(fd, Service{std::move(connection)});
        return true;
    }

    // Reads what the service has sent, its ring or bells. False when nothing more will come; its
    // last calls are in the journal then.
    bool hear(int fd) EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        Service& service = mServices.at(fd);
        const bool goesOn = service.ring ? readBells(fd) : receive(service);
        take(service);
        if (goesOn && !service.ring->isBroken()) return true;
        mServices.erase(fd);
        return false;
    }

    std::vector<int> connections() EXCLUDES(mLock) {
        const android::AutoMutex lock(mLock);
        std::vector<int> fds;
        for (const auto& [fd, service] : mServices) fds.push_back(fd);
        return fds;
    }

    void remark(std::string note) {
        mJournal.add(phone::Kind::ClientCall, "", "", std::move(note));
    }

  private:
    static bool readBells(int fd) {
        char bells[256];
        const ssize_t count = recv(fd, bells, sizeof(bells), MSG_DONTWAIT);
        return count > 0 || (count < 0 && errno == EAGAIN);
    }

    bool receive(Service& service) REQUIRES(mLock) {
        service.ring = CallRing::receive(service.connection.get());
        if (!service.ring) return false;
        service.ring->follow(mIsFollowed);
        return true;
    }

    void take(Service& service) REQUIRES(mLock) {
        if (!service.ring || service.ring->isBroken()) return;
        for (CallRecord& record : service.ring->take()) {
            if (auto call = decode(std::move(record))) mJournal.add(*std::move(call));
        }
        if (const uint64_t lost = service.ring->takeLost(); lost > 0) {
            remark("calls lost, since the ring was full: " + std::to_string(lost));
        }
        if (service.ring->isBroken()) remark("no more calls of this service: its ring is broken");
    }

    phone::Journal& mJournal;
    android::Mutex mLock;
    std::map<int, Service> mServices GUARDED_BY(mLock);  // by their connections
    bool mIsFollowed GUARDED_BY(mLock) = false;
};

ClientCalls::ClientCalls(phone::Journal& journal, phone::EventLoop& loop, const std::string& folder)
    : mJournal(journal),
      mLoop(loop),
      mRings(std::make_shared<Rings>(journal)),
      mFolder(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      mListener(android::hardware::calls::listenForCalls(mFolder.get())) {
    struct stat status = {};
    if (!mListener.ok() ||
        fstatat(mFolder.get(), android::hardware::calls::kSocketName, &status, 0) != 0) {
        phone::throwErrno("cannot make " + folder + "/" + android::hardware::calls::kSocketName);
    }
    mSocket = status.st_ino;
    mJournal.setSource(mRings);
    mLoop.call([this] { mLoop.watch(mListener.get(), POLLIN, [this](short) { acceptAll(); }); });
}

ClientCalls::~ClientCalls() {
    struct stat status = {};
    const char* const name = android::hardware::calls::kSocketName;
    // Another emulator may have put its own socket there after ours was removed.
    if (fstatat(mFolder.get(), name, &status, 0) == 0 && status.st_ino == mSocket) {
        unlinkat(mFolder.get(), name, 0);
    }
    mLoop.call([this] {
        mLoop.unwatch(mListener.get());
        for (const int fd : mRings->connections()) mLoop.unwatch(fd);
    });
    mRings->drain();
    mJournal.setSource(nullptr);
}

void ClientCalls::acceptAll() {
    for (;;) {
        unique_fd connection = android::hardware::calls::acceptCaller(mListener.get());
        if (connection.ok()) {
            listenTo(std::move(connection));
            continue;
        }
        // Without a descriptor left the loop would run for ever: who asks is not listened to.
        if (errno == EMFILE || errno == ENFILE) {
            mRings->remark(
                    "the calls of a service are missing, and of all that start later: no "
                    "descriptor is left");
            mLoop.unwatch(mListener.get());
        }
        return;
    }
}

void ClientCalls::listenTo(unique_fd connection) {
    const int fd = connection.get();
    if (!mRings->add(std::move(connection))) return;
    mLoop.watch(fd, POLLIN, [this, fd](short) { hear(fd); });
}

void ClientCalls::hear(int connection) {
    if (!mRings->hear(connection)) mLoop.unwatch(connection);
}

}  // namespace calls
