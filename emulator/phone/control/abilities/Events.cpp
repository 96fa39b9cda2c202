// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Kernel events.

#include "emulator/phone/control/Ability.h"
#include "emulator/phone/devices/Uevents.h"

namespace control {

using phone::Phone;

namespace {

template <typename Names>
Ability touchEvents(const char* name, const char* help, const Names& names, const Action& action) {
    return {name,
            help,
            {Request("POST", "/v1/event", action,
                     {{.name = "name",
                       .type = Type::Bytes,
                       .words = {names.begin(), names.end()},
                       .option = "WORD",
                       .help = "One or several, raised in this order",
                       .isRequired = true,
                       .isMany = true}})}};
}

void raiseTouchEvent(Phone& phone, const Json& given) {
    phone.uevents.raiseTouch(given["name"]);
}

void raise(Phone& phone, const Json& given) {
    const bool isBurst = given.contains("burst");
    if (given["forged"]) {
        if (isBurst)
            throw BadRequest("a burst is of the kernel's own events: leave out \"forged\"");
        phone.uevents.forge(given["bytes"]);
    } else if (isBurst) {
        phone.uevents.burst(given["bytes"], given["burst"]);
    } else {
        phone.uevents.raise(given["bytes"]);
    }
}

}  // namespace

std::vector<Ability> ofEvents() {
    return {touchEvents("gesture", "The kernel reports gestures on the cover", phone::kGestures,
                        raiseTouchEvent),
            touchEvents("pen",
                        "The kernel reports the cover's pen, its mode, and the touch panel's "
                        "update",
                        phone::kPenEvents, {}),
            {"uevent",
             "Raise a kernel event of any bytes",
             {Request("POST", "/v1/uevent", raise,
                      {placed("TEXT", "bytes", Type::Bytes,
                              "Its strings, each with \\x00 after it; may hold \\n, \\xHH, \\\\"),
                       boolean("forged", "--forged", true,
                               "Sent by a process, not by the kernel: listeners are to ignore "
                               "it"),
                       integer("burst", 1, phone::Uevents::kMostInBurst,
                               "So many at once: a listener that does not keep up loses the "
                               "later ones")})},
             "The kernel puts SEQNUM= and a number after it.\n\n"
             "Example:\n"
             "  bivista-emulator ctl uevent "
             "'change@/devices/virtual/bivista/bv2\\x00SUBSYSTEM=QMX_BV2\\x00'\\\n"
             "'TOUCH_GESTURE_WAKEUP=WAKEUP\\x00'"}};
}

}  // namespace control
