#include "emulator/phone/program/Session.h"

#include <iostream>

#include <fcntl.h>
#include <sys/socket.h>

#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/program/CtlCommand.h"

namespace emulator {

namespace {

// Longer than a request may wait for the journal, or for the phone to read.
constexpr int kReadTimeoutS = 60;

constexpr char kJson[] = "application/json";

}  // namespace

Session::Session()
    : mFolder(control::socketFolder()),
      mFolderFd(open(mFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      mClient("/proc/self/fd/" + std::to_string(mFolderFd.get()) + "/" + control::kSocketName) {
    mClient.set_address_family(AF_UNIX);
    mClient.set_read_timeout(kReadTimeoutS);
}

std::optional<Json> Session::get(const std::string& path, const httplib::Params& params) {
    return take(mClient.Get(path, params, httplib::Headers()));
}

std::optional<Json> Session::post(const std::string& path, const Json& body) {
    const std::optional<std::string> text = encode(body);
    return text ? take(mClient.Post(path, *text, kJson)) : std::nullopt;
}

std::optional<Json> Session::put(const std::string& path, const Json& body) {
    const std::optional<std::string> text = encode(body);
    return text ? take(mClient.Put(path, *text, kJson)) : std::nullopt;
}

std::optional<Json> Session::remove(const std::string& path, const httplib::Params& params) {
    return take(mClient.Delete(httplib::append_query_params(path, params)));
}

std::optional<std::string> Session::encode(const Json& body) {
    try {
        return body.dump();
    } catch (const Json::type_error&) {
        std::cerr << "bivista-emulator: an argument is not UTF-8: write \\xHH for such bytes\n";
        mStatus = kUsage;
        return std::nullopt;
    }
}

std::optional<Json> Session::take(const httplib::Result& result) {
    if (!result) {
        std::cerr << "bivista-emulator: no emulator answers on " << mFolder << "/"
                  << control::kSocketName
                  << ": start one with \"bivista-emulator run -- PROGRAM\" (HIDL_SOCKET_DIR "
                     "must be the same for both)\n";
        mStatus = kNoEmulator;
        return std::nullopt;
    }
    const Json body = Json::parse(result->body, nullptr, false);
    if (result->status == 200 && body.is_object()) return body;
    std::cerr << "bivista-emulator: " << body.value("error", "answered with an error") << "\n";
    mStatus = kRefused;
    return std::nullopt;
}

CLI::Option* addJsonFlag(CLI::App& command, bool* asJson) {
    return command.add_flag("--json", *asJson, "As one JSON object");
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
