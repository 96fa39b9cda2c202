// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A conversation of "ctl" with the running emulator.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include <android-base/unique_fd.h>

namespace httplib {
class Result;
}  // namespace httplib

namespace emulator {

class Client;

using Json = nlohmann::ordered_json;

// An answer that is JSON, but not the emulator's. The readers of an answer throw it, as JSON's own
// exceptions are thrown for missing members.
class ForeignAnswer : public std::exception {};

// Reports failures on standard error and keeps them as exit status.
class Session {
  public:
    // Runs `work` in a session. Returns 0, or one of the exit statuses of CtlCommand.h.
    static int hold(const std::function<void(Session&)>& work);

    Session();
    ~Session();

    // Reports why the command failed. For failures outside a request.
    void fail(const std::string& message);

    // Called before a failure is reported, such as to leave a picture on the terminal.
    void setBeforeFailure(std::function<void()> work) { mBeforeFailure = std::move(work); }

    // Another connection with the same emulator, for another thread.
    std::unique_ptr<Client> connect() const;

    // The answer of a request, an object; none after a failure. A GET or DELETE has the values in
    // its query, any other method in its body.
    std::optional<Json> ask(const std::string& method, const std::string& path,
                            const Json& values = Json::object());

    // The answer to a GET; null where the phone refuses it, which is no failure.
    std::optional<Json> askIfAny(const std::string& path);

  private:
    std::optional<Json> take(const httplib::Result& result);
    void fail(int status, const std::string& message);
    void failAsForeign();

    const std::string mFolder;
    const android::base::unique_fd mFolderFd;
    const std::unique_ptr<Client> mClient;
    std::function<void()> mBeforeFailure;
    int mStatus = 0;
};

// The abilities for which ctl does more than print one answer.
void readJournal(Session& session, const Json& given);
void readKernelLog(Session& session, const Json& given);
void keepSnapshot(Session& session, const Json& given);
void showView(Session& session, const Json& given);

}  // namespace emulator
