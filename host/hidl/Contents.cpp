// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Contents of calls and answers: from a Parcel into a message, and back.
#include <errno.h>
#include <fcntl.h>

#include <cstring>

#include <android-base/unique_fd.h>
#include "Peer.h"

namespace android::hardware::transport {

namespace {

class DescriptorServer final : public wire::Descriptor::Server {
  public:
    explicit DescriptorServer(base::unique_fd fd) : mFd(std::move(fd)) {}
    kj::Maybe<int> getFd() override { return mFd.get(); }

  private:
    const base::unique_fd mFd;
};

base::unique_fd duplicate(int fd) {
    return base::unique_fd(fcntl(fd, F_DUPFD_CLOEXEC, 0));
}

status_t readDescriptors(wire::Contents::Reader reader, std::vector<base::unique_fd>* descriptors) {
    for (wire::Descriptor::Client client : reader.getDescriptors()) {
        int received = -1;
        KJ_IF_MAYBE (fd, capnp::ClientHook::from(kj::mv(client))->getFd()) {
            received = *fd;
        }
        descriptors->push_back(duplicate(received));
        if (!descriptors->back().ok()) return received < 0 ? BAD_VALUE : -errno;
    }
    return OK;
}

bool hasDescriptor(wire::Object::Client& client) {
    return capnp::ClientHook::from(kj::cp(client))->getFd() != nullptr;
}

}  // namespace

capnp::MessageSize sizeOf(const ParcelContents& contents) {
    constexpr uint64_t kEnvelopeWords = 32;
    const uint64_t extra = contents.objects.size() + contents.descriptors.size();
    return {kEnvelopeWords + contents.words.size() + extra, static_cast<uint>(extra)};
}

status_t fill(wire::Contents::Builder builder, const ParcelContents& contents, Peer& peer) {
    if (peer.served.size() + contents.objects.size() > kMaxObjectsOfPeer) {
        peer.hangUp("it holds too many objects");
        return NO_MEMORY;
    }
    builder.setWords({reinterpret_cast<const kj::byte*>(contents.words.data()),
                      contents.words.size() * sizeof(uint64_t)});
    if (!contents.objects.empty()) {
        auto objects = builder.initObjects(contents.objects.size());
        for (uint i = 0; i < objects.size(); ++i) {
            objects.set(i, clientFor(contents.objects[i], peer));
        }
    }
    if (!contents.descriptors.empty()) {
        auto descriptors = builder.initDescriptors(contents.descriptors.size());
        for (uint i = 0; i < descriptors.size(); ++i) {
            base::unique_fd copy = duplicate(contents.descriptors[i]);
            if (!copy.ok()) return -errno;
            descriptors.set(i, kj::heap<DescriptorServer>(std::move(copy)));
        }
    }
    return OK;
}

// Looks at the words once, since capnp counts what is looked at against the limit of the message.
status_t read(wire::Contents::Reader reader, Peer& peer, Parcel* parcel) {
    const auto words = reader.getWords();
    if (words.size() > Parcel::kMaxSize) return FAILED_TRANSACTION;
    if (words.size() % sizeof(uint64_t) != 0) return BAD_VALUE;
    if (reader.getObjects().size() > kMaxObjectsOfCall) return BAD_VALUE;
    if (reader.getDescriptors().size() > Parcel::kMaxDescriptors) return BAD_VALUE;

    std::vector<base::unique_fd> descriptors;
    if (const status_t status = readDescriptors(reader, &descriptors); status != OK) return status;
    ParcelContents contents;
    contents.words.resize(words.size() / sizeof(uint64_t));
    if (words.size() > 0) memcpy(contents.words.data(), words.begin(), words.size());
    if (peer.imports.size() + reader.getObjects().size() > kMaxObjectsOfPeer) {
        peer.hangUp("it makes us hold too many objects");
        return NO_MEMORY;
    }
    for (wire::Object::Client client : reader.getObjects()) {
        // An object with a descriptor would keep it open for as long as it is held.
        if (hasDescriptor(client)) return BAD_VALUE;
        contents.objects.push_back(objectFor(kj::mv(client), peer));
    }
    for (base::unique_fd& fd : descriptors) contents.descriptors.push_back(fd.release());
    parcel->setContents(std::move(contents));
    return OK;
}

wire::Object::Client clientFor(const sp<IBinder>& object, Peer& peer) {
    BHwBinder* local = object->localBinder();
    return local == nullptr ? clientOfProxy(*object) : clientOfServed(local, peer);
}

sp<IBinder> objectFor(wire::Object::Client client, Peer& peer) {
    capnp::ClientHook* identity = identityOf(client);
    if (sp<IBinder> object = findServed(identity); object != nullptr) return object;
    if (Import* import = Import::find(identity); import != nullptr) return import->proxy();
    return kj::refcounted<Import>(kj::mv(client), kj::addRef(peer))->proxy();
}

}  // namespace android::hardware::transport
