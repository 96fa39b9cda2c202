// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "Processes.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace hidltest {

ServiceDirectory::ServiceDirectory() {
    char path[] = "/tmp/hidl-test-XXXXXX";
    mPath = mkdtemp(path);
    setenv("HIDL_SOCKET_DIR", mPath.c_str(), 1);
}

ServiceDirectory::~ServiceDirectory() {
    std::filesystem::remove_all(mPath);
}

ServiceChild::ServiceChild(const std::function<sp<IBivista>()>& make)
    : Child([&](const Ready& ready) {
          sp<IBivista> service = make();
          ::android::hardware::configureRpcThreadpool(1, true);
          if (service->registerAsService() != ::android::OK) return 1;
          ready();
          ::android::hardware::joinRpcThreadpool();
          return 1;
      }) {
    EXPECT_TRUE(waitUntilReady());
}

sp<IBivista> getService() {
    sp<IBivista> service = IBivista::getService();
    EXPECT_NE(service, nullptr);
    return service;
}

int connectToService(const ServiceDirectory& directory) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s/%s/default", directory.path().c_str(),
             IBivista::descriptor);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    return fd;
}

namespace {

size_t entriesOf(const std::string& folder) {
    const auto entries = std::filesystem::directory_iterator(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

size_t threadsOf(pid_t process) {
    return entriesOf("/proc/" + std::to_string(process) + "/task");
}

size_t descriptorsOf(pid_t process) {
    return entriesOf("/proc/" + std::to_string(process) + "/fd");
}

void waitUntil(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace hidltest
