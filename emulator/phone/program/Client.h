// The HTTP client of "ctl", for whatever it meets at the other end.
#pragma once

#include <string>

#include <httplib.h>

namespace emulator {

// Gives up an answer that no emulator gives: the library takes any length of line and body, and a
// long first line overflows its stack.
class Client : public httplib::ClientImpl {
  public:
    // Of a Unix socket.
    explicit Client(const std::string& path);

    // What GET, POST and so on of `path` answered.
    httplib::Result request(const std::string& method, const std::string& path,
                            const std::string& body = "");

  private:
    bool process_socket(const Socket& socket,
                        std::function<bool(httplib::Stream&)> callback) override;
};

}  // namespace emulator
