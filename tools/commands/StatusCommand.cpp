// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl status: the service and the cover at a glance.

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/client/State.h"
#include "tools/commands/Command.h"
#include "tools/text/Spinner.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::android::sp;

constexpr char kHelp[] = R"(
Asks nothing of the cover itself, so it disturbs nothing. --firmware asks the cover, which
takes up to 5 seconds when the cover is silent; then the kernel resets it.

Screen, brightness, colour, loader, last order and last failure come from the service's
debug dump ("bivistactl dump"), its state of the cover. The last order is the one that the
kernel got for the cover's firmware. The last failure is that of a command.

Examples:
  bivistactl status
  bivistactl status --json)";

// For a value that the service does not report.
constexpr char kUnknown[] = "unknown";

// The members of a section by their names; null when the dump does not have the first.
Json happened(const Dump& dump, const char* section, const char* first, const char* second) {
    if (!dump.has({section, first})) return nullptr;
    return {{first, orNull(dump.text({section, first}))},
            {second, orNull(dump.text({section, second}))},
            {"secondsAgo", orNull(dump.number({section, "secondsAgo"}))}};
}

Json colourOf(const Dump& dump) {
    const auto mode = [&](const char* name) {
        return dump.number({"colour", name, "group", "mode"});
    };
    const std::optional<int64_t> asked = mode("values");
    const bool isOff = isScreenOn(dump) == false;
    const auto isQueued = dump.flag({"colour", "pending", "group", "mode"});
    Json colour = {{"mode", nullptr}, {"code", orNull(asked)}, {"pending", nullptr}};
    if (asked && *asked == static_cast<int32_t>(*asked)) {
        colour["mode"] = screenModeName(static_cast<int32_t>(*asked));
    }
    // The next power-on sends a mode that differs from the one that the cover screen has.
    if (isQueued) colour["pending"] = *isQueued || (isOff && asked != mode("applied"));
    return colour;
}

// Null where the dump lacks the member.
void gatherFromDump(const Dump& dump, Json* status) {
    (*status)["screen"] = {{"initialized", orNull(dump.flag({"display", "initialized"}))},
                           {"on", orNull(isScreenOn(dump))}};
    (*status)["brightness"] = {{"value", orNull(dump.number({"brightness", "value"}))},
                               {"offset", orNull(dump.number({"brightness", "offset"}))}};
    (*status)["colour"] = colourOf(dump);
    (*status)["loader"] = orNull(dump.flag({"usb", "loader"}));
    (*status)["upgrade"] = happened(dump, "upgrade", "order", "status");
    (*status)["lastFailure"] = happened(dump, "lastFailure", "command", "cause");
    (*status)["dump"] = dump.fault().empty() ? "read" : dump.fault();
}

Json gather(const sp<BivistaV1_0>& service, bool firmware) {
    Json status = {{"service", "running"}, {"interfaces", interfacesOf(service)}};
    status["cover"]["usb"] = call<&BivistaV1_0::getBV2Connect>(service);
    status["cover"]["accessory"] = valueOf<&BivistaV1_0::getBV2Status>(service)["connected"];
    Json& sub = status["subDisplay"] = valueOf<&BivistaV1_0::getSubDisplayPowerState>(service);
    if (sub.is_object()) sub["info"] = valueOf<&BivistaV1_0::getSubDisplayInfo>(service);
    if (firmware) status["firmware"] = valueOf<&BivistaV1_0::getFirmwareVersion>(service);
    gatherFromDump(Dump::of(service), &status);
    return status;
}

std::string coverInWords(const Json& cover) {
    return std::string(cover["usb"] == true ? "on USB" : "not on USB") +
           (cover["accessory"] == true ? ", attached" : ", not attached") +
           " for the accessory service";
}

std::string subDisplayInWords(const Json& sub) {
    if (sub.is_null()) return kUnknown;
    const Json& info = sub["info"];
    return stateInWords(sub) + (info.is_null() ? "" : ", " + panelInWords(info));
}

// A text of the dump may have any bytes.
std::string wordOf(const Json& value) {
    return value.is_string() ? spellControls(value.get<std::string>())
                             : (value.is_null() ? kUnknown : value.dump());
}

std::string choose(const Json& value, const char* yes, const char* no) {
    return value.is_null() ? kUnknown : value == true ? yes : no;
}

std::string brightnessInWords(const Json& brightness) {
    const Json& offset = brightness["offset"];
    return wordOf(brightness["value"]) +
           (offset == 0 ? ", no offset" : ", offset " + wordOf(offset));
}

std::string colourInWords(const Json& colour) {
    return (colour["mode"].is_null() && !colour["code"].is_null() ? "mode " + colour["code"].dump()
                                                                  : wordOf(colour["mode"])) +
           (colour["pending"] == true ? ", not sent yet" : "");
}

std::string firmwareInWords(const Json& status) {
    if (!status.contains("firmware")) return "not asked for (--firmware asks the cover)";
    const Json& firmware = status["firmware"];
    return firmware.is_null() ? "no answer" : spellControls(firmware.get<std::string>());
}

// A happening in words: its name, one more member, and the time since: "12 s ago".
std::string happenedInWords(const Json& event, const char* name, const char* more) {
    if (event.is_null()) return kUnknown;
    if (event[name].is_null()) return "none";
    const Json& seconds = event["secondsAgo"];
    const std::string ago =
            seconds.is_null()
                    ? ""
                    : ", " + elapsedInWords(std::chrono::seconds(seconds.get<int64_t>())) + " ago";
    return wordOf(event[name]) + ": " + wordOf(event[more]) + ago;
}

std::string inWords(const Json& status) {
    const bool isKnown = status["dump"] == "read";
    const Json& interfaces = status["interfaces"];
    const std::string own = interfaces.empty() ? "" : ", " + interfaces[0].get<std::string>();
    std::string text = row("service", "running" + own);
    text += row("cover", coverInWords(status["cover"]));
    if (isKnown) {
        text += row("screen", choose(status["screen"]["on"], "on", "off"));
        text += row("brightness", brightnessInWords(status["brightness"]));
        text += row("colour", colourInWords(status["colour"]));
    }
    text += row("sub display", subDisplayInWords(status["subDisplay"]));
    text += row("firmware", firmwareInWords(status));
    if (isKnown) {
        text += row("loader", choose(status["loader"], "on the bus", "not on the bus"));
        text += row("last order", happenedInWords(status["upgrade"], "order", "status"));
        text += row("last failure", happenedInWords(status["lastFailure"], "command", "cause"));
    } else {
        text += row("dump",
                    spellControls(status["dump"].get<std::string>()) + ": the rest is not known");
    }
    return text;
}

int show(bool json, bool firmware) {
    sp<BivistaV1_0> service;
    try {
        service = findService();
    } catch (const Failure&) {
        printOrFail(json ? toLine({{"service", "absent"}}) + "\n" : row("service", "not running"));
        throw;
    }
    const Json status = gather(service, firmware);
    printOrFail(json ? toLine(status) + "\n" : inWords(status));
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addStatusCommand(cli::Command& program) {
    cli::Command& command =
            program.add("status", "Show the service and the cover at a glance", kHelp);
    const auto json = addJsonFlag(command);
    const auto firmware = addFlag(command, "--firmware", "Ask the cover for its firmware version");
    command.setAction([json, firmware] { return show(*json, *firmware); });
}

}  // namespace bivistactl
