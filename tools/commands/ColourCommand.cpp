// bivistactl colour: mode and tuning of the cover screen's colours.

#include <strings.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tools/client/Ask.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_enum_range;
using ::vendor::qmx::hardware::bivista::V1_0::ScreenMode;

constexpr const char* kHelp = R"(
What differs from the setting before is sent to the cover: at once while its screen is
on, else when it is switched on. The service answers OK either way.

Examples:
  bivistactl colour mode MODE_1
  bivistactl colour rgb 2 0 0 0
  bivistactl colour tune 2 2 2)";

constexpr const char* kModeHelp = R"(
Names: DEFAULT, MODE_1, MODE_2, MODE_3, in any case. Other numbers go to the cover as
they are.

Examples:
  bivistactl colour mode MODE_2
  bivistactl colour mode 7)";

constexpr const char* kRgbHelp = R"(
The numbers go to the cover as they are; after attachment it has 2 0 0 0. A change of D
alone is not sent when the screen is switched on.

Examples:
  bivistactl colour rgb 1 20 30 40
  bivistactl colour rgb 2 0 0 0)";

constexpr const char* kTuneHelp = R"(
The numbers go to the cover as they are; after attachment it has 2 2 2.

Examples:
  bivistactl colour tune 1 2 3
  bivistactl colour tune 2 2 2)";

ScreenMode parseMode(const std::string& text) {
    std::string names;
    for (const ScreenMode mode : hidl_enum_range<ScreenMode>()) {
        const std::string name = toString(mode);
        if (strcasecmp(text.c_str(), name.c_str()) == 0) return mode;
        names += (names.empty() ? "" : ", ") + name;
    }
    try {
        return static_cast<ScreenMode>(parseInt32(text));
    } catch (const BadArgument& bad) {
        throw BadArgument(bad.what() + (", nor a name: " + names));
    }
}

void addMode(cli::Command& colour) {
    cli::Command& command = colour.add("mode", "Set the colour mode");
    auto mode = std::make_shared<ScreenMode>();
    addArgument(command, "MODE", "Name or number of the mode", parseMode, mode.get());
    command.setHelp(kModeHelp);
    addOrder(command, [mode] {
        return Order{"setScreenMode", {std::to_string(static_cast<int32_t>(*mode))}, kRefused};
    });
}

// Numbers of the cover's firmware, of which the service knows nothing but their count.
template <size_t N>
std::shared_ptr<std::array<uint32_t, N>> addNumbers(cli::Command& command,
                                                    const std::array<const char*, N>& names) {
    auto numbers = std::make_shared<std::array<uint32_t, N>>();
    for (size_t i = 0; i < N; ++i) {
        addArgument(command, names[i], "0 to 4294967295", parseUint32, &(*numbers)[i]);
    }
    return numbers;
}

template <size_t N>
std::vector<std::string> toTexts(const std::array<uint32_t, N>& numbers) {
    std::vector<std::string> texts;
    for (const uint32_t number : numbers) texts.push_back(std::to_string(number));
    return texts;
}

void addRgb(cli::Command& colour) {
    cli::Command& command = colour.add("rgb", "Set the colour tuning");
    auto numbers = addNumbers<4>(command, {"A", "B", "C", "D"});
    command.setHelp(kRgbHelp);
    addOrder(command, [numbers] { return Order{"setRgbTune", toTexts(*numbers), kRefused}; });
}

void addTune(cli::Command& colour) {
    cli::Command& command = colour.add("tune", "Set the screen tuning");
    auto numbers = addNumbers<3>(command, {"A", "B", "C"});
    command.setHelp(kTuneHelp);
    addOrder(command, [numbers] {
        std::vector<std::string> arguments = toTexts(*numbers);
        // The service ignores the fourth.
        arguments.emplace_back("0");
        return Order{"setScreenTune", arguments, kRefused};
    });
}

}  // namespace

void addColourCommand(cli::Command& program) {
    cli::Command& command = program.add("colour", "Set the cover screen's colours");
    command.alias("color");
    command.setHelp(kHelp);
    addMode(command);
    addRgb(command);
    addTune(command);
}

}  // namespace bivistactl
