// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/Session.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>

#include <nlohmann/json.hpp>

#include <android-base/unique_fd.h>
#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/phone/client/Client.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/program/CtlCommand.h"

namespace emulator {

namespace {

// The message quotes the refused text, line ends and colours included.
std::string inOneLine(std::string message) {
    std::replace_if(
            message.begin(), message.end(), [](uint8_t c) { return iscntrl(c) != 0; }, '?');
    return message;
}

// The client does not report that it had no descriptor left for its socket.
void requireDescriptor() {
    const android::base::unique_fd descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!descriptor.ok()) throw std::system_error(errno, std::generic_category(), "no socket");
}

}  // namespace

Session::Session()
    : mFolder(control::socketFolder()),
      mFolderFd(open(mFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      mClient(connect()) {}

Session::~Session() = default;

std::unique_ptr<Client> Session::connect() const {
    return std::make_unique<Client>("/proc/self/fd/" + std::to_string(mFolderFd.get()) + "/" +
                                    control::kSocketName);
}

std::optional<Json> Session::ask(const std::string& method, const std::string& path,
                                 const Json& values) {
    std::optional<httplib::Result> result;
    try {
        result.emplace(mClient->ask(method, path, values));
    } catch (const Json::type_error&) {
        fail(kUsage, "an argument is not UTF-8: write \\xHH for such bytes");
        return std::nullopt;
    }
    return take(*result);
}

std::optional<Json> Session::askIfAny(const std::string& path) {
    constexpr int kRefusedByPhone = 409;
    const httplib::Result result = mClient->ask("GET", path);
    if (result && result->status == kRefusedByPhone) return Json();
    return take(result);
}

std::optional<Json> Session::take(const httplib::Result& result) {
    if (!result) {
        if (result.error() == httplib::Error::Connection) requireDescriptor();
        fail(kNoEmulator, tellNoAnswer(result.error(), mFolder));
        return std::nullopt;
    }
    const Json body = parseJson(result->body);
    if (!body.is_object()) throw ForeignAnswer();
    if (result->status == 200) return body;
    constexpr int kEnding = 410;
    fail(result->status == kEnding ? kNoEmulator : kRefused,
         inOneLine(body.at("error").get<std::string>()));
    return std::nullopt;
}

void Session::fail(const std::string& message) {
    fail(kRefused, message);
}

void Session::fail(int status, const std::string& message) {
    if (mBeforeFailure) mBeforeFailure();
    cli::complain(kProgram, message);
    mStatus = status;
}

void Session::failAsForeign() {
    fail(kNoEmulator, "what answers on " + mFolder + "/" + control::kSocketName +
                              " is no emulator, or not one of this version: end it, or name the "
                              "emulator's folder with HIDL_SOCKET_DIR");
}

int Session::hold(const std::function<void(Session&)>& work) {
    Session session;
    try {
        work(session);
    } catch (const Json::exception&) {
        session.failAsForeign();
    } catch (const ForeignAnswer&) {
        session.failAsForeign();
    }
    return session.mStatus;
}

}  // namespace emulator
