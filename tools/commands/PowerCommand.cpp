// bivistactl power: the cover screen on or off.

#include <memory>
#include <string>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr const char* kHelp = R"(
Switching on waits until the cover reports its screen, half a second at most; longer
when the cover answers late. A request is carried out also when the screen is in that
state already.

Examples:
  bivistactl power on
  bivistactl power off --uevent)";

constexpr char kNotSwitchedOn[] =
        "the cover refused, is not attached, or its screen did not come up. See \"bivistactl "
        "status\"; the service's log tells which.";
constexpr char kNotSwitchedOff[] =
        "the cover refused, or is not attached. See \"bivistactl status\"; the service's log tells "
        "which.";

struct Request {
    bool on = false;
    bool uevent = false;
};

}  // namespace

void addPowerCommand(cli::Command& program) {
    cli::Command& command = program.add("power", "Switch the cover screen on or off");
    auto request = std::make_shared<Request>();
    addArgument(command, "STATE", "on or off", parseSwitch, &request->on);
    command.flag("--uevent", &request->uevent,
                 "Tell the phone's display driver that a uevent asked for it");
    command.setHelp(kHelp);
    addOrder(command, [request] {
        return Order{"setPowerStatus",
                     {formatBool(request->on), formatBool(request->uevent)},
                     request->on ? kNotSwitchedOn : kNotSwitchedOff};
    });
}

}  // namespace bivistactl
