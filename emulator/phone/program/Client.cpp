// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/Client.h"

#include <algorithm>

#include <sys/socket.h>

namespace emulator {

namespace {

// Longer than a request may wait for the journal, or for the phone to read.
constexpr time_t kReadTimeoutS = 60;
constexpr time_t kWriteTimeoutS = 5;

constexpr size_t kLongestFirstLine = 4096;
// An entry of the journal has 64 MiB at most, and five characters for each byte of them. A page
// ends with the first long entry.
constexpr size_t kLongestAnswer = size_t{512} << 20;

class BoundedStream : public httplib::Stream {
  public:
    explicit BoundedStream(httplib::Stream& stream) : mStream(stream) {}

    bool is_readable() const override { return mStream.is_readable(); }
    bool is_writable() const override { return mStream.is_writable(); }
    ssize_t read(char* bytes, size_t size) override {
        const ssize_t count = mStream.read(bytes, size);
        if (count <= 0) return count;
        mRead += static_cast<size_t>(count);
        mFirstLineRead = mFirstLineRead || std::find(bytes, bytes + count, '\n') != bytes + count;
        return mRead <= (mFirstLineRead ? kLongestAnswer : kLongestFirstLine) ? count : -1;
    }
    ssize_t write(const char* bytes, size_t size) override {
        // With the library's own write, a server that closes would end the program by SIGPIPE.
        return is_writable() ? send(socket(), bytes, size, MSG_NOSIGNAL) : -1;
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        mStream.get_remote_ip_and_port(ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override {
        mStream.get_local_ip_and_port(ip, port);
    }
    socket_t socket() const override { return mStream.socket(); }

  private:
    httplib::Stream& mStream;
    size_t mRead = 0;
    bool mFirstLineRead = false;
};

}  // namespace

Client::Client(const std::string& path) : httplib::ClientImpl(path) {
    set_address_family(AF_UNIX);
}

httplib::Result Client::request(const std::string& method, const std::string& path,
                                const std::string& body) {
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    if (!body.empty()) request.set_header("Content-Type", "application/json");
    return send(request);
}

bool Client::process_socket(const Socket& socket, std::function<bool(httplib::Stream&)> callback) {
    return httplib::detail::process_client_socket(socket.sock, kReadTimeoutS, 0, kWriteTimeoutS, 0,
                                                  [&](httplib::Stream& stream) {
                                                      BoundedStream bounded(stream);
                                                      return callback(bounded);
                                                  });
}

}  // namespace emulator
