// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The HTTP client of "ctl". Any program may answer at the other end.
#pragma once

#include <string>

#include <httplib.h>

namespace emulator {

// Gives up on an answer that is too long for an emulator. The library takes any length of line and
// body, and a long first line overflows its stack.
class Client : public httplib::ClientImpl {
  public:
    // `path` is that of a Unix socket.
    explicit Client(const std::string& path);

    // The answer to GET, POST or another method of `path`.
    httplib::Result request(const std::string& method, const std::string& path,
                            const std::string& body = "");

  private:
    bool process_socket(const Socket& socket,
                        std::function<bool(httplib::Stream&)> callback) override;
};

}  // namespace emulator
