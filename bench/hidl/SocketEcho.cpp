// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/ServerProcess.h"
#include "bench/hidl/Echo.h"

namespace bench {

namespace {

void readAll(int fd, char* data, size_t size) {
    while (size > 0) {
        const ssize_t got = read(fd, data, size);
        if (got <= 0) _exit(0);
        data += got;
        size -= static_cast<size_t>(got);
    }
}

void writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t put = write(fd, data, size);
        if (put <= 0) fail("write");
        data += put;
        size -= static_cast<size_t>(put);
    }
}

// Each exchange begins with its size.
[[noreturn]] void serve(int fd) {
    std::vector<char> bytes(kLargest);
    for (;;) {
        uint64_t size;
        readAll(fd, reinterpret_cast<char*>(&size), sizeof(size));
        readAll(fd, bytes.data(), size);
        writeAll(fd, "k", 1);
    }
}

class SocketEcho : public Echo {
  public:
    SocketEcho() : SocketEcho(makePair()) {}

    void exchange(size_t size) override {
        const uint64_t header = size;
        memcpy(mBytes.data(), &header, sizeof(header));
        writeAll(mFd, mBytes.data(), sizeof(header) + size);
        char answer;
        readAll(mFd, &answer, 1);
    }

  private:
    struct Pair {
        int ends[2];
    };
    static Pair makePair() {
        Pair pair;
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.ends) != 0) fail("socketpair");
        return pair;
    }
    explicit SocketEcho(Pair pair) : mFd(pair.ends[0]), mServer([pair] { serve(pair.ends[1]); }) {
        close(pair.ends[1]);
    }

    const int mFd;
    std::vector<char> mBytes = std::vector<char>(sizeof(uint64_t) + kLargest);
    ServerProcess mServer;
};

}  // namespace

std::unique_ptr<Echo> makeSocketEcho() {
    return std::make_unique<SocketEcho>();
}

}  // namespace bench
