// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// An HTTP server on this machine's loopback interface that no client can hold up or fill.
#pragma once

#include <atomic>

#include <httplib.h>

namespace ui {

class PageServer : public httplib::Server {
  public:
    // Connections at the same time; each answers one request.
    static constexpr int kMostConnections = 64;

    PageServer();

    // Listens on 127.0.0.1; port 0: a free one. Returns the port. Throws phone::Error when it
    // cannot.
    int bind(int port);

    // The socket of the request that this thread answers.
    static int connection();

  private:
    bool process_and_close_socket(socket_t socket) override;
    void serve(socket_t socket);

    std::atomic<int> mConnections = 0;
};

}  // namespace ui
