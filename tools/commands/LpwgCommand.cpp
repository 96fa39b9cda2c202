// bivistactl lpwg: settings of the low-power wake gestures.

#include <memory>
#include <string>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::vendor::qmx::hardware::bivista::V1_0::LpwgStatus;

constexpr const char* kHelp = R"(
The gestures themselves are printed by "bivistactl watch lpwg", the cover's test of them
by "bivistactl touch lpwg-selftest".

Examples:
  bivistactl lpwg status 1 0
  bivistactl watch lpwg)";

constexpr const char* kStatusHelp = R"(
The two numbers go to the cover as they are; what they mean is its firmware's matter.

Examples:
  bivistactl lpwg status 1 0
  bivistactl lpwg status 2 -1)";

}  // namespace

void addLpwgCommand(cli::Command& program) {
    cli::Command& lpwg = program.add("lpwg", "Set the low-power wake gestures");
    lpwg.setHelp(kHelp);
    cli::Command& command = lpwg.add("status", "Pass a setting to the cover");
    auto status = std::make_shared<LpwgStatus>();
    addArgument(command, "TYPE", "Any 32-bit number", parseInt32, &status->type);
    addArgument(command, "VALUE", "Any 32-bit number", parseInt32, &status->value);
    command.setHelp(kStatusHelp);
    addOrder(command, [status] {
        return Order{"setStatus",
                     {std::to_string(status->type), std::to_string(status->value)},
                     kNotAnswered};
    });
}

}  // namespace bivistactl
