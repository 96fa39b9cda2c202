// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/ui/Page.h"

#include <cstdint>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "bench/Clock.h"
#include "bench/ServerProcess.h"

namespace bench {

Page::Page(const std::string& address) {
    const std::string host = address.substr(7, address.find('/', 7) - 7);
    sockaddr_in there = {};
    there.sin_family = AF_INET;
    there.sin_port = htons(static_cast<uint16_t>(std::stoi(host.substr(host.find(':') + 1))));
    there.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    mSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(mSocket, reinterpret_cast<sockaddr*>(&there), sizeof(there)) != 0) fail("connect");
    const std::string request = "GET " + address.substr(7 + host.size()) +
                                "events HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
    if (send(mSocket, request.data(), request.size(), 0) < 0) fail("send");
    mThread = std::thread([this] { read(); });
}

Page::~Page() {
    shutdown(mSocket, SHUT_RDWR);
    mThread.join();
    close(mSocket);
}

std::vector<double> Page::latencies() const {
    const android::AutoMutex lock(mLock);
    return mLatencies;
}

void Page::read() {
    std::string text;
    char bytes[65536];
    for (ssize_t count; (count = recv(mSocket, bytes, sizeof(bytes), 0)) > 0;) {
        text.append(bytes, static_cast<size_t>(count));
        for (size_t end; (end = text.find("\n\n")) != std::string::npos; text.erase(0, end + 2)) {
            take(text.substr(0, end));
        }
    }
}

void Page::take(const std::string& event) {
    const double arrival = now(CLOCK_REALTIME);
    if (event.find("event: loaded") != std::string::npos) mIsLoaded = true;
    constexpr std::string_view kItems = "event: items\ndata: ";
    const size_t at = event.find(kItems);
    if (at == std::string::npos) return;
    for (const auto& item : nlohmann::json::parse(event.substr(at + kItems.size()))) {
        constexpr size_t kKind = 3;
        constexpr size_t kWallUs = 6;
        if (item[kKind] != "uevent") continue;
        const android::AutoMutex lock(mLock);
        mLatencies.push_back((arrival - item[kWallUs].get<double>()) / 1000);
    }
}

}  // namespace bench
