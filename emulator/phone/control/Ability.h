// What can be done to the emulated phone, each ability declared once: the requests of the control
// interface and the commands of "ctl" are made of this table, and so may other front ends be.
#pragma once

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

// What an ability works on. An action that waits does it in the room.
struct Emulator {
    phone::Phone& phone;
    neighbours::Neighbours& neighbours;
    WaitingRoom& room;
};

// Does what a request asks for; returns the answer's object. BadRequest is answered 400,
// phone::Error 409, Ending 410, Busy 503.
class Action : public std::function<Json(const Emulator&, const Json& given)> {
  public:
    Action() = default;

    // The work takes the phone, what is given too, or the emulator and what is given. Without a
    // result the answer is an empty object.
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

// What on ctl's command line chooses a request: a flag, or the first word. Empty: what else it has.
struct Choice {
    std::string word{};
    std::string help{};  // of the flag
};

struct Request {
    using Show = std::string (*)(const Json& answer);

    // Without an action the path has it elsewhere: this is one more way to ask for it.
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
    Show show;     // how ctl prints the answer; none: it does not
    Json fixed{};  // members that ctl always sends
    // In the place of an action, for an answer that comes later.
    void (*reply)(const Emulator&, const Json& given, httplib::Response&) = nullptr;
};

struct Ability {
    std::string name;  // the words after "ctl"
    std::string help;
    std::vector<Request> requests{};  // none: a group of those whose names begin with this one's
    std::string more{};               // below the lists of the command's help
    std::string state{};              // the help of the first word, where that chooses
};

// The subjects, each in its file of abilities/.
std::vector<Ability> ofCover();
std::vector<Ability> ofFirmware();
std::vector<Ability> ofEvents();
std::vector<Ability> ofJournal();
std::vector<Ability> ofNeighbours();
std::vector<Ability> ofPhone();

// All of them, in the order of "ctl --help".
const std::vector<Ability>& abilities();

// The table for programs: {"abilities":[{"name":T,"help":T,"requests":[...]},...]}.
Json describeAbilities();

}  // namespace control
