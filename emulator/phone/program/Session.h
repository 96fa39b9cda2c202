// A conversation of "ctl" with the running emulator, and the commands that have one.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <httplib.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "emulator/phone/Fd.h"

namespace emulator {

using Json = nlohmann::ordered_json;

// Failures are told on standard error and kept as status.
class Session {
  public:
    Session();

    // 0, or one of the exit statuses of CtlCommand.h.
    int status() const { return mStatus; }

    // The answer's object; nothing after a failure.
    std::optional<Json> get(const std::string& path, const httplib::Params& params = {});
    std::optional<Json> post(const std::string& path, const Json& body = Json::object());
    std::optional<Json> put(const std::string& path, const Json& body);
    std::optional<Json> remove(const std::string& path, const httplib::Params& params = {});

  private:
    std::optional<std::string> encode(const Json& body);
    std::optional<Json> take(const httplib::Result& result);

    const std::string mFolder;
    const phone::Fd mFolderFd;
    httplib::Client mClient;
    int mStatus = 0;
};

// Adds a command whose `work` gets a session. Options are kept by shared pointers in the closures.
template <typename Work>
CLI::App* add(CLI::App& app, const char* name, const char* help, int* status, Work work) {
    CLI::App* command = app.add_subcommand(name, help);
    command->callback([status, work] {
        Session session;
        work(session);
        *status = session.status();
    });
    return command;
}

// Adds --json, for a command that prints an answer.
CLI::Option* addJsonFlag(CLI::App& command, bool* asJson);
// Prints an answer, if there is one: as JSON, or in words.
void printAnswer(const std::optional<Json>& answer, bool asJson,
                 void (*printInWords)(const Json& answer));

// What the files of this folder add to "ctl"; each keeps its exit status in *status.
void addCover(CLI::App& ctl, int* status);
void addEvents(CLI::App& ctl, int* status);
void addFirmware(CLI::App& ctl, int* status);
void addNeighbours(CLI::App& ctl, int* status);

}  // namespace emulator
