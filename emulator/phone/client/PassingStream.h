// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A connection of the HTTP library, whose reads or writes a class below can watch.
#pragma once

#include <string>

#include <sys/socket.h>

#include <httplib.h>

namespace emulator {

class PassingStream : public httplib::Stream {
  public:
    explicit PassingStream(httplib::Stream& stream) : mStream(stream) {}

    bool is_readable() const override { return mStream.is_readable(); }
    bool is_writable() const override { return mStream.is_writable(); }
    ssize_t read(char* bytes, size_t size) override { return mStream.read(bytes, size); }
    // With the library's own write, a peer that closes would end the program by SIGPIPE, and one
    // that reads no more would hold the thread for ever.
    ssize_t write(const char* bytes, size_t size) override {
        return is_writable() ? send(socket(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT) : -1;
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
};

}  // namespace emulator
