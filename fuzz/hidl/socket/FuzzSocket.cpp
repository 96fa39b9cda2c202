// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Any bytes to the socket of a service, which must then serve an honest look at it.
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/host/hidl/FakeBivista.h"

namespace {

using namespace hidltest;

std::string gDirectory;

// A service of this process, with one RPC thread.
std::string startService() {
    char path[] = "/tmp/fuzz-hidl-XXXXXX";
    if (mkdtemp(path) == nullptr) abort();
    gDirectory = path;
    atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(gDirectory, ignored);
    });
    setenv("HIDL_SOCKET_DIR", path, 1);
    static auto* const service = new sp<IBivista>(new FakeBivista);
    if ((*service)->registerAsService() != ::android::OK) abort();
    return gDirectory + "/" + IBivista::descriptor + "/default";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = startService();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) abort();
    for (size_t sent = 0; sent < size;) {
        const ssize_t part = send(fd, data + sent, size - sent, MSG_NOSIGNAL);
        if (part <= 0) break;
        sent += static_cast<size_t>(part);
    }
    shutdown(fd, SHUT_WR);
    // Until the service has taken it all in and hung up.
    char answer[4096];
    while (read(fd, answer, sizeof(answer)) > 0) {
    }
    close(fd);
    return 0;
}
