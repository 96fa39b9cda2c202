// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The HTTP client of the control interface. Any program may answer at the other end.
#pragma once

#include <string>

#include <httplib.h>
#include <utils/Mutex.h>
#include <nlohmann/json.hpp>

namespace emulator {

using Json = nlohmann::ordered_json;

// Gives up on an answer that is too long for an emulator. The library takes any length of line and
// body, and a long first line overflows its stack. One request at a time.
class Client : public httplib::ClientImpl {
  public:
    // `path` is that of a Unix socket.
    explicit Client(const std::string& path);

    // The answer of a request, after at most 60 s. A GET or DELETE has the values in its query, any
    // other method in its body. Throws Json::type_error for a text that is not UTF-8.
    httplib::Result ask(const std::string& method, const std::string& path,
                        const Json& values = Json::object());

    // Ends the request that waits, and all later ones, without an answer. Any thread.
    void cancel() EXCLUDES(mLock);

  private:
    bool process_socket(const Socket& socket,
                        std::function<bool(httplib::Stream&)> callback) override;

    // The socket of the request that goes on, or -1. False when all requests are cancelled.
    bool begin(int socket) EXCLUDES(mLock);

    android::Mutex mLock;
    int mSocket GUARDED_BY(mLock) = -1;
    bool mCancelled GUARDED_BY(mLock) = false;
};

// The text's value. Discarded unless an emulator may answer such JSON, or be sent it.
Json parseJson(const std::string& text);

// Why a request had no answer; `folder` is that of the emulator's socket.
std::string tellNoAnswer(httplib::Error error, const std::string& folder);

}  // namespace emulator
