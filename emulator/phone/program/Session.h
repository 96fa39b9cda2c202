// A conversation of "ctl" with the running emulator, and the commands that have one.
#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "cli/Command.h"

namespace emulator {

using Json = nlohmann::ordered_json;

// An answer that is JSON, but not the emulator's. To be thrown where an answer is read, as JSON's
// own exceptions are for members that it lacks.
class ForeignAnswer : public std::exception {};

// Failures are told on standard error and kept as status.
class Session {
  public:
    using Params = std::multimap<std::string, std::string>;

    // Has `work` done in a session. Returns 0, or one of the exit statuses of CtlCommand.h.
    static int hold(const std::function<void(Session&)>& work);

    Session();
    ~Session();

    // Says why the command failed; to be called for what happens outside a request.
    void fail(const std::string& message);

    // The answer's object; nothing after a failure.
    std::optional<Json> get(const std::string& path, const Params& params = {});
    std::optional<Json> post(const std::string& path);
    std::optional<Json> post(const std::string& path, const Json& body);
    std::optional<Json> put(const std::string& path, const Json& body);
    std::optional<Json> remove(const std::string& path, const Params& params = {});

  private:
    class Impl;
    const std::unique_ptr<Impl> mImpl;
};

// Adds a command whose `work` gets a session; the program ends with its status.
cli::Command& add(cli::Command& parent, const char* name, const char* help,
                  const std::function<void(Session&)>& work);

// Adds --json, for a command that prints an answer.
cli::Option addJsonFlag(cli::Command& command, bool* asJson);
// Prints an answer, if there is one: as JSON, or in words.
void printAnswer(const std::optional<Json>& answer, bool asJson,
                 std::string (*inWords)(const Json& answer));

// What the files of this folder add to "ctl".
void addCover(cli::Command& ctl);
void addEvents(cli::Command& ctl);
void addFirmware(cli::Command& ctl);
void addJournal(cli::Command& ctl);
void addNeighbours(cli::Command& ctl);

}  // namespace emulator
