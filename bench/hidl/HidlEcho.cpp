// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/ServerProcess.h"
#include "bench/hidl/Echo.h"
#include "tests/host/hidl/FakeBivista.h"

namespace bench {

namespace {

using namespace hidltest;

[[noreturn]] void serve(int ready) {
    const sp<IBivista> service = new FakeBivista;
    ::android::hardware::configureRpcThreadpool(1, true);
    if (service->registerAsService() != ::android::OK) fail("registerAsService");
    if (write(ready, "r", 1) != 1) fail("write");
    ::android::hardware::joinRpcThreadpool();
    fail("joinRpcThreadpool");
}

class HidlEcho : public Echo {
  public:
    HidlEcho() : HidlEcho(prepare()) {}
    ~HidlEcho() override { std::filesystem::remove_all(mDirectory); }

    void exchange(size_t size) override {
        if (size == 0) {
            check(service()->setBrightness(1));
        } else {
            mFrame.setToExternal(mWords, size / sizeof(uint32_t));
            check(service()->drawSubDisplay(mFrame));
        }
    }

  private:
    struct Prepared {
        std::string directory;
        int ready[2];
    };
    static Prepared prepare() {
        char path[] = "/tmp/bench-hidl-XXXXXX";
        if (mkdtemp(path) == nullptr) fail("mkdtemp");
        setenv("HIDL_SOCKET_DIR", path, 1);
        Prepared prepared = {path, {}};
        if (pipe(prepared.ready) != 0) fail("pipe");
        return prepared;
    }
    explicit HidlEcho(const Prepared& prepared)
        : mDirectory(prepared.directory), mServer([&] { serve(prepared.ready[1]); }) {
        char byte;
        if (read(prepared.ready[0], &byte, 1) != 1) fail("the HIDL service did not start");
    }

    // Looked up at the first call, since looking up starts the thread that must not be forked.
    const sp<IBivista>& service() {
        if (mService == nullptr) mService = IBivista::getService();
        if (mService == nullptr) fail("getService");
        return mService;
    }
    static void check(const Return<Status>& result) {
        if (!result.isOk()) fail("a HIDL call");
    }

    const std::string mDirectory;
    uint32_t mWords[kLargest / sizeof(uint32_t)] = {};
    hidl_vec<uint32_t> mFrame;
    sp<IBivista> mService;
    ServerProcess mServer;
};

}  // namespace

std::unique_ptr<Echo> makeHidlEcho() {
    return std::make_unique<HidlEcho>();
}

}  // namespace bench
