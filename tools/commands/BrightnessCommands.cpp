// bivistactl brightness, bivistactl offset: the light of the cover screen.

#include <memory>
#include <string>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr const char* kBrightnessHelp = R"(
The service queues the level and answers at once, also without a cover, and also for a
level that it then drops, which is why others than these are refused here. Of a burst it
sends the newest 20. An offset in force changes what is sent ("bivistactl offset").

Examples:
  bivistactl brightness 128
  for level in 0 64 128 192 255; do bivistactl brightness $level; done)";

constexpr const char* kOffsetHelp = R"(
Shifts the brightness of the cover screen by twice N, within 10 to 255, and sends the
current level again. A positive offset counts for that one level; a negative one stays
in force, with low levels compressed instead of cut. 0 is no offset.

100 is no offset but a one-shot command: the next level is shifted in full by the offset
in force, and nothing is sent now. It is that only while the screen is on; otherwise 100
is kept as an offset like any other number.

Examples:
  bivistactl offset -20
  bivistactl offset 100
  bivistactl offset 0)";

constexpr char kScreenOff[] =
        "the cover screen is off. The offset is kept, for the levels to come; switch the screen on "
        "with \"bivistactl power on\".";

void addBrightness(cli::Command& program) {
    cli::Command& command = program.add("brightness", "Set the brightness of the cover screen");
    auto level = std::make_shared<int32_t>();
    addArgument(command, "LEVEL", "0 to 255", parseLevel, level.get());
    command.setHelp(kBrightnessHelp);
    addOrder(command, [level] {
        return Order{"setBrightness", {std::to_string(*level)}, kRefused};
    });
}

void addOffset(cli::Command& program) {
    cli::Command& command =
            program.add("offset", "Shift the cover screen's brightness relative to the phone's");
    auto offset = std::make_shared<int32_t>();
    addArgument(command, "N", "Any 32-bit number; 100 is a command of its own", parseInt32,
                offset.get());
    command.setHelp(kOffsetHelp);
    addOrder(command, [offset] {
        return Order{"setBVBrightnessOffset", {std::to_string(*offset)}, kScreenOff};
    });
}

}  // namespace

void addBrightnessCommands(cli::Command& program) {
    addBrightness(program);
    addOffset(program);
}

}  // namespace bivistactl
