// bivistactl pen: the mode of the pen.

#include <memory>
#include <string>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr const char* kHelp = R"(
Pen events are printed by "bivistactl watch lpwg".

Examples:
  bivistactl pen aes 1
  bivistactl watch lpwg)";

constexpr const char* kAesHelp = R"(
Switches the three places that hold the mode: the cover, the phone's kernel and the
phone's LPWG service. The answer is the cover's; the other two are told also when it
refuses. --cover-only tells the cover alone.

Examples:
  bivistactl pen aes 1
  bivistactl pen aes --cover-only 2)";

struct Request {
    uint32_t mode = 0;
    bool coverOnly = false;
};

uint32_t parseAesMode(const std::string& text) {
    const uint32_t mode = parseUint32(text);
    // The service would take any other number for 2.
    if (mode == 1 || mode == 2) return mode;
    throw BadArgument("\"" + text + "\" is neither 1 nor 2");
}

}  // namespace

void addPenCommand(cli::Command& program) {
    cli::Command& pen = program.add("pen", "Set the pen's mode");
    pen.setHelp(kHelp);
    cli::Command& aes = pen.add("aes", "Set the AES mode");
    auto request = std::make_shared<Request>();
    addArgument(aes, "MODE", "1 or 2", parseAesMode, &request->mode);
    aes.flag("--cover-only", &request->coverOnly, "Tell the cover alone");
    aes.setHelp(kAesHelp);
    addOrder(aes, [request] {
        return Order{request->coverOnly ? "setAesMode" : "manageAesMode",
                     {std::to_string(request->mode)},
                     kNotAnswered};
    });
}

}  // namespace bivistactl
