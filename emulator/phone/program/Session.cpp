#include "emulator/phone/program/Session.h"

#include <iostream>

#include <fcntl.h>
#include <httplib.h>
#include <sys/socket.h>

#include <nlohmann/json.hpp>

#include "cli/Message.h"
#include "emulator/phone/Fd.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/program/CtlCommand.h"

namespace emulator {

namespace {

// Longer than a request may wait for the journal, or for the phone to read.
constexpr int kReadTimeoutS = 60;

constexpr char kJson[] = "application/json";

}  // namespace

class Session::Impl {
  public:
    Impl()
        : mFolder(control::socketFolder()),
          mFolderFd(open(mFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
          client("/proc/self/fd/" + std::to_string(mFolderFd.get()) + "/" + control::kSocketName) {
        client.set_address_family(AF_UNIX);
        client.set_read_timeout(kReadTimeoutS);
    }

    std::optional<std::string> encode(const Json& body) {
        try {
            return body.dump();
        } catch (const Json::type_error&) {
            cli::complain(kProgram, "an argument is not UTF-8: write \\xHH for such bytes");
            status = kUsage;
            return std::nullopt;
        }
    }

    std::optional<Json> take(const httplib::Result& result) {
        if (!result) {
            cli::complain(kProgram, "no emulator answers on " + mFolder + "/" +
                                            control::kSocketName +
                                            ": start one with \"bivista-emulator run -- PROGRAM\" "
                                            "(HIDL_SOCKET_DIR must be the same for both)");
            status = kNoEmulator;
            return std::nullopt;
        }
        const Json body = Json::parse(result->body, nullptr, false);
        if (result->status == 200 && body.is_object()) return body;
        cli::complain(kProgram, body.value("error", "answered with an error"));
        status = kRefused;
        return std::nullopt;
    }

  private:
    const std::string mFolder;
    const phone::Fd mFolderFd;

  public:
    httplib::Client client;
    int status = 0;
};

Session::Session() : mImpl(std::make_unique<Impl>()) {}

Session::~Session() = default;

int Session::status() const {
    return mImpl->status;
}

void Session::fail(const std::string& message) {
    cli::complain(kProgram, message);
    mImpl->status = kRefused;
}

std::optional<Json> Session::get(const std::string& path, const Params& params) {
    return mImpl->take(mImpl->client.Get(path, params, httplib::Headers()));
}

std::optional<Json> Session::post(const std::string& path) {
    return post(path, Json::object());
}

std::optional<Json> Session::post(const std::string& path, const Json& body) {
    const std::optional<std::string> text = mImpl->encode(body);
    return text ? mImpl->take(mImpl->client.Post(path, *text, kJson)) : std::nullopt;
}

std::optional<Json> Session::put(const std::string& path, const Json& body) {
    const std::optional<std::string> text = mImpl->encode(body);
    return text ? mImpl->take(mImpl->client.Put(path, *text, kJson)) : std::nullopt;
}

std::optional<Json> Session::remove(const std::string& path, const Params& params) {
    return mImpl->take(mImpl->client.Delete(httplib::append_query_params(path, params)));
}

cli::Command& add(cli::Command& parent, const char* name, const char* help,
                  const std::function<void(Session&)>& work) {
    cli::Command& command = parent.add(name, help);
    command.setAction([work] {
        Session session;
        work(session);
        return session.status();
    });
    return command;
}

cli::Option addJsonFlag(cli::Command& command, bool* asJson) {
    return command.flag("--json", asJson, "As one JSON object");
}

void printAnswer(const std::optional<Json>& answer, bool asJson,
                 void (*printInWords)(const Json& answer)) {
    if (!answer) return;
    if (asJson) {
        std::cout << answer->dump() << "\n";
    } else {
        printInWords(*answer);
    }
}

}  // namespace emulator
