// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What one connection may hold, and its end.
#define LOG_TAG "host-hidl"

#include "Peer.h"

#include <log/log.h>

namespace android::hardware::transport {

bool Questions::add(uint32_t id, size_t bytes, size_t descriptors) {
    if (!mQuestions.insert({id, {bytes, descriptors}}).second) return false;
    mBytes += bytes;
    mDescriptors += descriptors;
    return true;
}

bool Questions::answer(uint32_t id) {
    auto it = mQuestions.find(id);
    if (it == mQuestions.end() || it->second.answered) return false;
    it->second.answered = true;
    mBytes -= it->second.bytes;
    mDescriptors -= it->second.descriptors;
    if (it->second.finished) mQuestions.erase(it);
    return true;
}

bool Questions::finish(uint32_t id) {
    auto it = mQuestions.find(id);
    if (it == mQuestions.end() || it->second.finished) return false;
    it->second.finished = true;
    if (it->second.answered) mQuestions.erase(it);
    return true;
}

bool Peer::mayCall(const ParcelContents& contents) const {
    constexpr size_t kEnvelopeBytes = 4096;
    // What is queued was not counted as asked yet.
    const size_t queued = network->getCurrentQueueCount();
    const size_t unsent = network->getCurrentQueueSize();
    const size_t bytes = contents.words.size() * sizeof(uint64_t) + kEnvelopeBytes +
                         contents.objects.size() * 4 * sizeof(capnp::word);
    const size_t descriptors = contents.descriptors.size() + queued * Parcel::kMaxDescriptors;
    return unsent <= kMaxUnsentBytes && asked.count() + queued < kMaxQuestions &&
           asked.bytes() + unsent + bytes <= kMaxQuestionBytes &&
           (contents.descriptors.empty() ||
            asked.descriptors() + descriptors <= kMaxQuestionDescriptors);
}

void Peer::hangUp(const char* reason) {
    if (network == nullptr) return;
    network = nullptr;
    ALOGE("Hung up on a HIDL peer: %s", reason);
    end();
}

void Peer::lose() {
    network = nullptr;
    for (Import* import : imports) import->tellOfDeath();
}

}  // namespace android::hardware::transport
