// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone and the service that a scenario plays on: its own, or those that run.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <android-base/unique_fd.h>
#include <nlohmann/json.hpp>

#include "emulator/phone/client/Client.h"
#include "emulator/play/StageProgram.h"
#include "emulator/play/Streams.h"

namespace play {

using Json = nlohmann::ordered_json;
using Milliseconds = std::chrono::milliseconds;

// The phone or its service is gone, or never came; what() is for people.
class Gone : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The phone refused a request; what() is its reason.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Of one thread, the main one.
class Stage {
  public:
    // A phone of its own, whose service waits for begin(). The folder, which must be there, gets
    // the registry, the journal kJournal and the log kLog. Sets HIDL_SOCKET_DIR. Throws Gone.
    static std::unique_ptr<Stage> make(const std::string& folder);
    static constexpr char kJournal[] = "journal.jsonl";
    static constexpr char kLog[] = "log";

    // The phone that runs in the registry's folder, and its service's log, if a path is given. What
    // was there before is in neither stream. Throws Gone, and phone::Error for the log.
    static std::unique_ptr<Stage> join(const std::string& log);

    // Ends its own phone and service.
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    bool isOwn() const { return mPhone != nullptr; }
    // Starts the service; to be called once, on a phone of its own.
    void begin();

    // The end of the service is meant from now on.
    void expectEnd() { mIsEndMeant = true; }
    bool isEndMeant() const { return mIsEndMeant; }
    bool hasEnded() const { return mHasEnded; }

    // Takes in what has come; waits so long for the first of it. Throws Gone when phone or service
    // have ended and that was not meant.
    void pull(Milliseconds wait);
    const Streams& streams() const { return mStreams; }

    // The answer of the phone. Throws Refused, and Gone.
    Json ask(const std::string& method, const std::string& path,
             const Json& values = Json::object());
    // The answer to a GET, which may be 50 ms old.
    const Json& look(const std::string& path);

  private:
    struct Look {
        std::chrono::steady_clock::time_point time;
        Json answer;
    };

    Stage(const std::string& folder, const std::string& registry, const std::string& log);

    void startPhone();
    std::optional<Json> tryAsk(const std::string& method, const std::string& path,
                               const Json& values);
    void pullPages(Milliseconds wait);
    void noteEnd(const std::string& why);
    void readJournalFile();
    std::string tellEnd(int waitStatus) const;

    const std::string mFolder;  // empty: not its own
    const std::string mRegistry;
    const android::base::unique_fd mRegistryFd;
    LogFile mLog;
    Streams mStreams;
    android::base::unique_fd mGo;     // closed or written to, it lets the service begin
    android::base::unique_fd mReady;  // tells that the phone is there
    std::unique_ptr<StageProgram> mPhone;
    std::unique_ptr<emulator::Client> mClient;
    uint64_t mNext = 1;  // entry of the journal
    std::map<std::string, Look> mLooks;
    bool mIsEndMeant = false;
    bool mHasEnded = false;
};

}  // namespace play
