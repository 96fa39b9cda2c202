// bivistactl status: the service and the cover at a glance.

#include <memory>
#include <optional>
#include <string>

#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Json.h"
#include "tools/Methods.h"
#include "tools/Output.h"
#include "tools/Service.h"
#include "tools/SubDisplay.h"
#include "tools/Text.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

constexpr const char* kHelp = R"(
Asks nothing of the cover itself, so it disturbs nothing; --firmware does, which
takes up to 5 seconds when the cover is silent.

Examples:
  bivistactl status
  bivistactl status --json)";

Json interfacesOf(BivistaV1_0& service) {
    Json names = Json::array();
    auto result = service.interfaceChain([&](const hidl_vec<hidl_string>& chain) {
        for (const hidl_string& name : chain) names.push_back(toJson(name));
    });
    requireDelivered(result);
    return names;
}

// What the method answers; null when it answers FAIL.
Json valueOf(const sp<BivistaV1_0>& service, const char* method) {
    const Answer answer = findMethod(method)->bind({})(service);
    if (answer.status.value_or(Status::OK) != Status::OK) return nullptr;
    return answer.value.value_or(nullptr);
}

Json gather(const sp<BivistaV1_0>& service, bool firmware) {
    Json status = {{"service", "running"}, {"interfaces", interfacesOf(*service)}};
    status["cover"]["usb"] = valueOf(service, "getBV2Connect");
    status["cover"]["accessory"] = valueOf(service, "getBV2Status")["connected"];
    Json& sub = status["subDisplay"] = valueOf(service, "getSubDisplayPowerState");
    if (sub.is_object()) sub["info"] = valueOf(service, "getSubDisplayInfo");
    if (firmware) status["firmware"] = valueOf(service, "getFirmwareVersion");
    return status;
}

std::string coverInWords(const Json& cover) {
    return std::string(cover["usb"] == true ? "on USB" : "not on USB") +
           (cover["accessory"] == true ? ", attached" : ", not attached") +
           " for the accessory service";
}

std::string subDisplayInWords(const Json& sub) {
    if (sub.is_null()) return "unknown";
    const Json& info = sub["info"];
    return stateInWords(sub) + (info.is_null() ? "" : ", " + panelInWords(info));
}

std::string inWords(const Json& status) {
    std::string text = row("service", "running, " + status["interfaces"][0].get<std::string>());
    text += row("cover", coverInWords(status["cover"]));
    text += row("sub display", subDisplayInWords(status["subDisplay"]));
    if (status.contains("firmware")) {
        const Json& firmware = status["firmware"];
        text += row("firmware",
                    firmware.is_null() ? "no answer" : spellControls(firmware.get<std::string>()));
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
    cli::Command& command = program.add("status", "Show the service and the cover at a glance");
    struct Options {
        bool json = false;
        bool firmware = false;
    };
    auto options = std::make_shared<Options>();
    addJsonFlag(command, &options->json);
    command.flag("--firmware", &options->firmware, "Ask the cover for its firmware version");
    command.setHelp(kHelp);
    command.setAction([options] { return show(options->json, options->firmware); });
}

}  // namespace bivistactl
