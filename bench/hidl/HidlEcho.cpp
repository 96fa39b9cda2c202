// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "bench/ServerProcess.h"
#include "bench/hidl/Echo.h"
#include "host/hidl/CallRing.h"
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

namespace calls = ::android::hardware::calls;

// Takes the calls of one service.
[[noreturn]] void listen(int listener) {
    pollfd waiting = {listener, POLLIN, 0};
    poll(&waiting, 1, -1);
    const auto connection = calls::acceptCaller(listener);
    waiting.fd = connection.get();
    poll(&waiting, 1, -1);
    auto ring = calls::CallRing::receive(connection.get());
    if (!ring) fail("the service hands out no calls");
    ring->follow(true);
    char bells[256];
    while (poll(&waiting, 1, -1) == 1 && recv(connection.get(), bells, sizeof(bells), 0) > 0) {
        ring->take();
        if (ring->isBroken() || ring->takeLost() > 0) fail("calls are lost");
    }
    _exit(0);
}

int openListener(const std::string& directory) {
    const android::base::unique_fd folder(open(directory.c_str(), O_PATH | O_CLOEXEC));
    auto listener = calls::listenForCalls(folder.get());
    if (!listener.ok()) fail("listenForCalls");
    return listener.release();
}

class HidlEcho : public Echo {
  public:
    explicit HidlEcho(bool isRecorded) : HidlEcho(prepare(isRecorded)) {}
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
        int listener = -1;
    };
    static Prepared prepare(bool isRecorded) {
        char path[] = "/tmp/bench-hidl-XXXXXX";
        if (mkdtemp(path) == nullptr) fail("mkdtemp");
        setenv("HIDL_SOCKET_DIR", path, 1);
        Prepared prepared = {path, {}};
        if (pipe(prepared.ready) != 0) fail("pipe");
        if (isRecorded) prepared.listener = openListener(path);
        return prepared;
    }
    explicit HidlEcho(const Prepared& prepared)
        : mDirectory(prepared.directory), mServer([&] { serve(prepared.ready[1]); }) {
        if (prepared.listener >= 0) {
            mListener.emplace([&] { listen(prepared.listener); });
            close(prepared.listener);
        }
        char byte;
        if (read(prepared.ready[0], &byte, 1) != 1) fail("the HIDL service did not start");
    }

    // Looked up at the first call, since looking up starts the thread that must not be forked.
    const sp<IBivista>& service() {
        if (mService == nullptr) {
            setenv("HIDL_SOCKET_DIR", mDirectory.c_str(), 1);
            mService = IBivista::getService();
        }
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
    std::optional<ServerProcess> mListener;
};

}  // namespace

std::unique_ptr<Echo> makeHidlEcho(bool isRecorded) {
    return std::make_unique<HidlEcho>(isRecorded);
}

}  // namespace bench
