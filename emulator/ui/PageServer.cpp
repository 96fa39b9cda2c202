// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/PageServer.h"

#include <algorithm>
#include <chrono>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/client/PassingStream.h"
#include "emulator/phone/control/RequestThreads.h"
#include "emulator/phone/control/Routes.h"

namespace ui {

namespace {

using Clock = std::chrono::steady_clock;

// A whole request must come within this time.
constexpr std::chrono::seconds kPatience(10);
// How long a page may read nothing.
constexpr time_t kWriteTimeoutS = 20;
constexpr size_t kMostHeaders = 64 << 10;
constexpr int kBacklog = 128;
// How long is read of what a refused client still sends.
constexpr std::chrono::seconds kLinger(1);

static_assert(control::RequestThreads::kMost > PageServer::kMostConnections);

thread_local int currentConnection = -1;

const httplib::Headers& headers() {
    static const httplib::Headers all = {
            {"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
             "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cache-Control", "no-store"},
            {"Cross-Origin-Resource-Policy", "same-origin"}};
    return all;
}

// The library takes headers without end, and waits anew for each byte.
class RequestStream : public emulator::PassingStream {
  public:
    using PassingStream::PassingStream;

    ssize_t read(char* bytes, size_t size) override {
        const ssize_t count = Clock::now() < mEnd ? PassingStream::read(bytes, size) : -1;
        if (count > 0) mRead += static_cast<size_t>(count);
        mIsBroken = count < 0 || mRead > control::kMaxBody + kMostHeaders;
        return mIsBroken ? -1 : count;
    }
    // The library takes a request that does not end for a malformed one.
    ssize_t write(const char* bytes, size_t size) override {
        return mIsBroken ? -1 : PassingStream::write(bytes, size);
    }
    // A client began a request, and did not come to its end.
    bool isBroken() const { return mIsBroken && mRead > 0; }

  private:
    const Clock::time_point mEnd = Clock::now() + kPatience;
    size_t mRead = 0;
    bool mIsBroken = false;
};

// An answer that the library does not give.
void refuse(socket_t socket, const std::string& status, const std::string& why) {
    std::string answer = "HTTP/1.1 " + status + "\r\n";
    for (const auto& [name, value] : headers()) answer += name + ": " + value + "\r\n";
    answer += "Connection: close\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: " +
              std::to_string(why.size() + 1) + "\r\n\r\n" + why + "\n";
    send(socket, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

// A socket that is closed with bytes unread takes the answer back from the client.
void closeGently(socket_t socket) {
    shutdown(socket, SHUT_WR);
    const auto end = Clock::now() + kLinger;
    const auto left = [end] {
        using std::chrono::milliseconds;
        const auto time = std::chrono::ceil<milliseconds>(end - Clock::now());
        return static_cast<int>(std::max(time, milliseconds(0)).count());
    };
    char bytes[4096];
    pollfd watched = {socket, POLLIN, 0};
    while (poll(&watched, 1, left()) > 0 && left() > 0 &&
           recv(socket, bytes, sizeof(bytes), 0) > 0) {
    }
    close(socket);
}

}  // namespace

PageServer::PageServer() {
    set_default_headers(headers());
    set_payload_max_length(control::kMaxBody);
    set_write_timeout(kWriteTimeoutS);
    new_task_queue = [] { return new control::RequestThreads; };
    // The library's own options let two programs of a user share a port.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
}

int PageServer::bind(int port) {
    constexpr char kLoopback[] = "127.0.0.1";
    errno = 0;
    const int bound = port == 0                       ? bind_to_any_port(kLoopback)
                      : bind_to_port(kLoopback, port) ? port
                                                      : -1;
    if (bound < 0) {
        phone::throwErrno("cannot serve the page on port " + std::to_string(port) +
                          " of 127.0.0.1 (choose another with --port)");
    }
    ::listen(svr_sock_, kBacklog);
    return bound;
}

int PageServer::connection() {
    return currentConnection;
}

bool PageServer::process_and_close_socket(socket_t socket) {
    currentConnection = socket;
    if (++mConnections > kMostConnections) {
        refuse(socket, "503 Service Unavailable",
               std::to_string(kMostConnections) +
                       " connections are open already: close some of the pages");
    } else {
        serve(socket);
    }
    closeGently(socket);
    --mConnections;
    return true;
}

void PageServer::serve(socket_t socket) {
    bool isClosed = false;
    bool isBroken = false;
    httplib::detail::process_client_socket(
            socket, read_timeout_sec_, 0, write_timeout_sec_, 0, [&](httplib::Stream& stream) {
                RequestStream request(stream);
                // The page's files are compressed already; the rest does not go far.
                const auto plain = [](httplib::Request& asked) {
                    asked.headers.erase("Accept-Encoding");
                };
                const bool isDone = process_request(request, true, isClosed, plain);
                isBroken = request.isBroken();
                return isDone;
            });
    if (isBroken) {
        refuse(socket, "408 Request Timeout",
               "the request did not come to its end in time, or is too long");
    }
}

}  // namespace ui
