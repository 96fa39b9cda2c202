// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/client/Client.h"

#include <algorithm>

#include <sys/socket.h>

#include "emulator/phone/client/PassingStream.h"
#include "emulator/phone/control/SocketFolder.h"

namespace emulator {

namespace {

// Longer than a request may wait for the journal, or for the phone to read.
constexpr time_t kReadTimeoutS = 60;
constexpr time_t kWriteTimeoutS = 5;

constexpr size_t kLongestFirstLine = 4096;
// An entry of the journal has 64 MiB at most, and five characters for each byte of them. A page
// ends with the first long entry.
constexpr size_t kLongestAnswer = size_t{512} << 20;

class BoundedStream : public PassingStream {
  public:
    using PassingStream::PassingStream;

    ssize_t read(char* bytes, size_t size) override {
        const ssize_t count = PassingStream::read(bytes, size);
        if (count <= 0) return count;
        mRead += static_cast<size_t>(count);
        mFirstLineRead = mFirstLineRead || std::find(bytes, bytes + count, '\n') != bytes + count;
        return mRead <= (mFirstLineRead ? kLongestAnswer : kLongestFirstLine) ? count : -1;
    }

  private:
    size_t mRead = 0;
    bool mFirstLineRead = false;
};

// Lists in lists without end would overflow the stack where they are printed.
bool isTooDeep(const std::string& json) {
    constexpr int kDeepest = 32;
    int depth = 0;
    bool inString = false;
    for (size_t i = 0; i < json.size() && depth <= kDeepest; ++i) {
        const char c = json[i];
        if (c == '"') inString = !inString;
        if (inString) {
            if (c == '\\') ++i;
        } else if (c == '[' || c == '{') {
            ++depth;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return depth > kDeepest;
}

httplib::Params query(const Json& values) {
    httplib::Params parameters;
    for (const auto& [name, value] : values.items()) {
        parameters.emplace(name, value.is_string() ? value.get<std::string>() : value.dump());
    }
    return parameters;
}

}  // namespace

Client::Client(const std::string& path) : httplib::ClientImpl(path) {
    set_address_family(AF_UNIX);
}

httplib::Result Client::ask(const std::string& method, const std::string& path,
                            const Json& values) {
    httplib::Request request;
    request.method = method;
    request.path = path;
    if (method == "GET" || method == "DELETE") {
        request.path = httplib::append_query_params(path, query(values));
    } else {
        request.body = values.dump();
        request.set_header("Content-Type", "application/json");
    }
    return send(request);
}

void Client::cancel() {
    const android::AutoMutex lock(mLock);
    mCancelled = true;
    if (mSocket >= 0) shutdown(mSocket, SHUT_RDWR);
}

bool Client::process_socket(const Socket& socket, std::function<bool(httplib::Stream&)> callback) {
    if (!begin(socket.sock)) return false;
    const bool done = httplib::detail::process_client_socket(
            socket.sock, kReadTimeoutS, 0, kWriteTimeoutS, 0, [&](httplib::Stream& stream) {
                BoundedStream bounded(stream);
                return callback(bounded);
            });
    begin(-1);
    return done;
}

bool Client::begin(int socket) {
    const android::AutoMutex lock(mLock);
    mSocket = socket;
    return !mCancelled;
}

Json parseJson(const std::string& text) {
    return isTooDeep(text) ? Json(Json::value_t::discarded) : Json::parse(text, nullptr, false);
}

std::string tellNoAnswer(httplib::Error error, const std::string& folder) {
    const std::string socket = folder + "/" + control::kSocketName;
    if (error == httplib::Error::Connection) {
        return "no emulator answers on " + socket +
               ": start one with \"bivista-emulator run\" (HIDL_SOCKET_DIR must be the same for "
               "both)";
    }
    return "the emulator on " + socket +
           " has ended before its answer, or is none: start one with \"bivista-emulator run\"";
}

}  // namespace emulator
