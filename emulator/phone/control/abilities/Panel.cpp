// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display: its size and format, and what it shows.

#include <optional>
#include <string>

#include "emulator/phone/control/Ability.h"

namespace control {

using phone::Phone;

namespace {

void setSubDisplay(Phone& phone, const Json& given) {
    cover::PanelOptions options = phone.panel.options();
    take(given, "width", options.width);
    take(given, "height", options.height);
    take(given, "format", options.format);
    take(given, "ready", options.ready);
    phone.panel.setOptions(options);
    cover::Time openTime = phone.panel.openTime();
    takeMs(given, "open_ms", openTime);
    phone.panel.setOpenTime(openTime);
}

Json takeSnapshot(Phone& phone) {
    if (!phone.panel.isAttached()) throw phone::Error("no sub display is attached");
    const std::optional<cover::Picture> picture = phone.panel.picture();
    if (!picture) throw phone::Error("the sub display claims more pixels than it has memory for");
    std::string levels;
    for (const uint8_t level : picture->levels) levels += "0123456789abcdef"[level];
    return {{"width", picture->width}, {"height", picture->height}, {"levels", levels}};
}

}  // namespace

std::vector<Ability> ofPanel() {
    return {
            {"subdisplay",
             "Change what the sub display reports, and how long its node takes to open",
             {silent(Request("PUT", "/v1/subdisplay", setSubDisplay,
                             {integer("width", 0, UINT16_MAX), integer("height", 0, UINT16_MAX),
                              integer("format", 0, UINT8_MAX), integer("ready", 0, UINT8_MAX),
                              milliseconds("open_ms",
                                           "An open of its node while nobody has it open (50)")}))},
             "The phone's software asks at an attachment: \"ctl reattach\" makes it ask."},
            {"snapshot",
             "Keep what the sub display shows as a PNG",
             {Request("GET", "/v1/snapshot", takeSnapshot,
                      {{.name = "file",
                        .option = "FILE",
                        .help = "-: standard output",
                        .isRequired = true,
                        .isInRequest = false}})}},
            {"view",
             "Draw the cover and its sub display, and go on as they change",
             {Request("GET", "/v1/state", {},
                      {{.name = "once",
                        .type = Type::Boolean,
                        .help = "One picture, as into a file or a pipe",
                        .flag = true,
                        .isInRequest = false}})},
             "In the colours of the terminal: true colour where COLORTERM says so. Without colours "
             "in\n"
             "characters. \"q\" and Ctrl-C end it."},
    };
}

}  // namespace control
