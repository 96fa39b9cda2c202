// A conversation of "ctl" with the running emulator.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include <android-base/unique_fd.h>

namespace httplib {
class Result;
}  // namespace httplib

namespace emulator {

class Client;

using Json = nlohmann::ordered_json;

// An answer that is JSON, but not the emulator's. To be thrown where an answer is read, as JSON's
// own exceptions are for members that it lacks.
class ForeignAnswer : public std::exception {};

// Failures are told on standard error and kept as status.
class Session {
  public:
    // Has `work` done in a session. Returns 0, or one of the exit statuses of CtlCommand.h.
    static int hold(const std::function<void(Session&)>& work);

    Session();
    ~Session();

    // Says why the command failed; to be called for what happens outside a request.
    void fail(const std::string& message);

    // What a request answers, an object; nothing after a failure. A GET or DELETE has the values in
    // its query, any other in its body.
    std::optional<Json> ask(const std::string& method, const std::string& path,
                            const Json& values = Json::object());

  private:
    std::optional<Json> take(const httplib::Result& result);
    void fail(int status, const std::string& message);
    void failAsForeign();

    const std::string mFolder;
    const android::base::unique_fd mFolderFd;
    const std::unique_ptr<Client> mClient;
    int mStatus = 0;
};

// What ctl does by itself with an answer, or several.
void readJournal(Session& session, const Json& given);
void readKernelLog(Session& session, const Json& given);
void keepSnapshot(Session& session, const Json& given);

}  // namespace emulator
