// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A call with any words: first the method (4 bytes), then the flags (1 byte), then the Parcel. The
// generated code of the service reads it as it would a peer's.
#include <atomic>
#include <cstring>

#include "tests/host/hidl/FakeBivista.h"

using namespace ::android::hardware;

namespace {

// Looks at everything that it is given, as a service would.
class Looking : public hidltest::FakeBivista {
  public:
    Return<hidltest::Status> drawSubDisplay(const hidl_vec<uint32_t>& frame) override {
        for (uint32_t pixel : frame) mSum += pixel;
        return hidltest::Status::OK;
    }
    Return<void> sendAtCommand(const hidl_string& cmd,
                               const ::android::sp<hidltest::IBivistaAtCallback>& callback,
                               sendAtCommand_cb cb) override {
        mSum += strlen(cmd.c_str());
        if (callback != nullptr) mSum += callback->isRemote() ? 1 : 0;
        cb(hidltest::Status::OK, cmd);
        return Void();
    }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        mSum += fd.getNativeHandle() == nullptr ? 0 : static_cast<uint64_t>(fd->numInts);
        for (const hidl_string& option : options) mSum += std::string(option).size();
        return Void();
    }

  private:
    std::atomic<uint64_t> mSum{0};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto* const service = new ::android::sp<hidltest::IBivista>(new Looking);
    static auto* const object = new ::android::sp<IBinder>(toBinder(*service));
    if (size < 5) return 0;
    uint32_t code;
    memcpy(&code, data, sizeof(code));
    const uint32_t flags = data[4];
    ParcelContents contents;
    contents.words.resize((size - 5) / sizeof(uint64_t));
    if (!contents.words.empty()) {
        memcpy(contents.words.data(), data + 5, contents.words.size() * sizeof(uint64_t));
    }
    // An object of the wrong kind, for whoever refers to one.
    contents.objects.push_back(*object);
    Parcel parcel;
    parcel.setContents(std::move(contents));
    Parcel reply;
    (*object)->transact(code, parcel, &reply, flags, [](Parcel&) {});
    return 0;
}
