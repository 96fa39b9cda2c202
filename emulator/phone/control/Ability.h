// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The abilities of the emulated phone, each declared once. The requests of the control interface
// and the commands of "ctl" are made from this table, and so may other front ends be.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "emulator/phone/Phone.h"
#include "emulator/phone/control/Argument.h"
#include "emulator/phone/control/WaitingRoom.h"
#include "emulator/phone/neighbours/Neighbours.h"

namespace httplib {
struct Response;
}  // namespace httplib

namespace control {

// What one request for the journal gives, and how long it waits for the first entry, at most.
inline constexpr uint64_t kMostEntries = 10'000;
inline constexpr uint64_t kMostWaitMs = 30'000;

// What an ability works on. An action that waits takes a place in the room.
struct Emulator {
    phone::Phone& phone;
    neighbours::Neighbours& neighbours;
    WaitingRoom& room;
};

// Carries out a request and returns the answer's object. The server answers BadRequest with 400,
// phone::Error with 409, Ending with 410, Busy with 503.
class Action : public std::function<Json(const Emulator&, const Json& given)> {
  public:
    Action() = default;

    // The work takes the phone, the phone and the given values, or the emulator and these. Work
    // without a result is answered with an empty object.
    template <typename Work>
    Action(Work work)
        : function([work](const Emulator& emulator, const Json& given) -> Json {
              const auto carryOut = [&] {
                  if constexpr (std::is_invocable_v<Work, phone::Phone&>) {
                      return work(emulator.phone);
                  } else if constexpr (std::is_invocable_v<Work, phone::Phone&, const Json&>) {
                      return work(emulator.phone, given);
                  } else {
                      return work(emulator, given);
                  }
              };
              if constexpr (!std::is_void_v<decltype(carryOut())>) return carryOut();
              carryOut();
              return Json::object();
          }) {}
};

// What on ctl's command line chooses a request: a flag, or the first word. Empty: the other
// arguments choose.
struct Choice {
    std::string word{};
    std::string help{};  // of the flag
};

// When the journal tells of a request that changes something. Before: it stands before what it
// causes. After: the effect has no entry of its own, and a reader that looks at the state then
// finds it. ByEffect: the effect's entry says all of it.
enum class Told { Before, After, ByEffect };

struct Request {
    using Show = std::string (*)(const Json& answer);

    // Without an action this is one more way to ask for a path that has its action elsewhere.
    Request(const char* method, const char* path, Action action,
            std::vector<Argument> arguments = {}, Choice choice = {}, Show show = nullptr)
        : method(method),
          path(path),
          action(std::move(action)),
          arguments(std::move(arguments)),
          choice(std::move(choice)),
          show(show) {}

    std::string method;
    std::string path;
    Action action;
    std::vector<Argument> arguments;
    Choice choice;
    Show show;     // how ctl prints the answer; none: prints nothing
    Json fixed{};  // members that ctl always sends
    Told told = Told::Before;
    // Replaces the action where the answer comes later.
    void (*reply)(const Emulator&, const Json& given, httplib::Response&) = nullptr;
};

inline Request silent(Request request) {
    request.told = Told::After;
    return request;
}

struct Ability {
    std::string name;  // the words after "ctl"
    std::string help;
    std::vector<Request> requests{};  // none: a group of the abilities whose names begin with it
    std::string more{};               // below the lists of the command's help
    std::string state{};              // the help of the first word, where that chooses
};

// The abilities by subject, each in its file of abilities/.
std::vector<Ability> ofCover();
std::vector<Ability> ofPanel();
std::vector<Ability> ofFirmware();
std::vector<Ability> ofEvents();
std::vector<Ability> ofJournal();
std::vector<Ability> ofNeighbours();
std::vector<Ability> ofPhone();

// All abilities, in the order of "ctl --help".
const std::vector<Ability>& abilities();

// The table for programs: {"abilities":[{"name":T,"help":T,"requests":[...]},...]}.
Json describeAbilities();

}  // namespace control
