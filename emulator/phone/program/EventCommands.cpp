// ctl: kernel events.

#include <string_view>
#include <vector>

#include "emulator/cover/Text.h"
#include "emulator/phone/devices/Uevents.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// Events of the touch panel by their names, raised in the order given.
template <typename Names>
void addTouchEvents(cli::Command& ctl, const char* name, const char* help, const Names& names) {
    const auto words = std::make_shared<std::vector<std::string>>();
    cli::Command& command = add(ctl, name, help, [words](Session& session) {
        for (const std::string& word : *words) {
            if (!session.post("/v1/event", {{"name", word}})) return;
        }
    });
    const std::vector<std::string> known(names.begin(), names.end());
    command.takeWords("WORD", words.get(), "One or several, raised in this order")
            .required()
            .oneOf(known);
}

void addRaw(cli::Command& ctl) {
    struct Options {
        std::string message;
        bool forged = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "uevent", "Raise a kernel event of any bytes", [options](Session& session) {
                session.post("/v1/uevent",
                             {{"bytes", options->message}, {"forged", options->forged}});
            });
    command.take("TEXT", &options->message,
                 "Its strings, each with \\x00 behind it; may hold \\n, \\xHH, \\\\")
            .required();
    command.flag("--forged", &options->forged,
                 "Sent by a process, not by the kernel: listeners are to ignore it");
    command.setHelp(
            "The kernel puts SEQNUM= and a number behind it.\n\n"
            "Example:\n"
            "  bivista-emulator ctl uevent "
            "'change@/devices/virtual/bivista/bv2\\x00SUBSYSTEM=QMX_BV2\\x00'\\\n"
            "'TOUCH_GESTURE_WAKEUP=WAKEUP\\x00'");
}

}  // namespace

void addEvents(cli::Command& ctl) {
    addTouchEvents(ctl, "gesture", "The kernel tells of gestures on the cover", phone::kGestures);
    addTouchEvents(ctl, "pen",
                   "The kernel tells of the cover's pen, its mode, and the touch panel's update",
                   phone::kPenEvents);
    addRaw(ctl);
}

}  // namespace emulator
