// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's loader, and the firmware images of the phone.

#include "emulator/phone/control/Ability.h"
#include "emulator/phone/control/abilities/Shown.h"

namespace control {

using phone::Phone;

namespace {

using enum Type;

void attachLoader(Phone& phone, const Json& given) {
    phone.loader.attach(given["serial"], given["product"]);
}

// Moves the cover itself into its loader, or back.
void moveToLoader(Phone& phone, const Json& given) {
    if (given["mode"] == "leave") {
        phone.loader.leave();
    } else {
        phone.loader.enter(given["mode"] == "error" ? cover::LoaderEntry::Error
                                                    : cover::LoaderEntry::OnRequest);
    }
}

Json list(Phone& phone) {
    return {{"files", describeFirmware(phone)}};
}

std::string showList(const Json& answer) {
    std::string text;
    for (const Json& file : answer.at("files")) {
        text += file.at("name").get<std::string>() + " " + file.at("size").dump() + "\n";
    }
    return text;
}

// The cover comes up in its loader or comes back from it; ctl's name of the ability is the mode.
Ability loader(const char* mode, const char* help, const Action& action) {
    const Argument modes = {.name = "mode",
                            .words = {"normal", "error", "leave"},
                            .isRequired = true,
                            .isInCtl = false};
    Request request("PUT", "/v1/loader", action, {modes});
    request.fixed = {{"mode", mode}};
    return {std::string("loader ") + mode, help, {request}};
}

}  // namespace

std::vector<Ability> ofFirmware() {
    return {
            {"loader", "The cover's loader on the USB bus"},
            {"loader attach",
             "The loader appears",
             {Request("POST", "/v1/loader", attachLoader,
                      {{.name = "serial",
                        .help = "00000000001A: sent there, 00000000001B: no firmware",
                        .otherwise = "00000000001A"},
                       {.name = "product", .help = "Product string", .otherwise = "TQC330R"}})}},
            {"loader detach",
             "The loader goes",
             {Request("DELETE", "/v1/loader", [](Phone& phone) { phone.loader.detach(); })}},
            loader("normal", "The cover comes up in its loader, as if it was sent there",
                   moveToLoader),
            loader("error", "The cover comes up in its loader, as if it had no firmware", {}),
            loader("leave", "The cover comes back from its loader as itself", {}),
            {"firmware",
             "The phone's folder of firmware images",
             {},
             "An image is named by what it holds: hardware line, \"-\", version, and after \"_\" "
             "whatever\n"
             "else tells it apart, then \".dfu\". An upgrade takes the newest of the cover's "
             "line.\n"
             "\"ctl journal\" shows its progress, \"ctl cover --upgrade-ms\" makes it slow or "
             "fast."},
            {"firmware put",
             "Put a file there",
             {Request("PUT", "/v1/firmware",
                      [](Phone& phone, const Json& given) {
                          phone.firmware.put(given["name"], given["size"]);
                      },
                      {placed("NAME", "name", Verbatim, "For example BV330-V20k_20220101.dfu"),
                       {.name = "size",
                        .type = Natural,
                        .most = 64 << 20,
                        .help = "In bytes",
                        .otherwise = 1024,
                        .isOfPhone = true}})}},
            {"firmware list",
             "Print the files, with their sizes",
             {Request("GET", "/v1/firmware", list, {}, {}, showList)}},
            {"firmware clear",
             "Remove them all",
             {Request("DELETE", "/v1/firmware", [](Phone& phone) { phone.firmware.clear(); })}},
    };
}

}  // namespace control
