// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone as a whole: its faults, properties and files.

#include <unistd.h>

#include "emulator/cover/Text.h"
#include "emulator/phone/control/Ability.h"
#include "emulator/phone/control/abilities/Shown.h"

namespace control {

using phone::Phone;

namespace {

Json listFaults(Phone& phone) {
    return describeFaults(phone);
}

Json listAll(Phone& phone) {
    return {{"properties", describeProperties(phone)}};
}

void removeFaults(Phone& phone, const Json& given) {
    if (given.contains("text")) {
        phone.faults.remove(given["text"]);
    } else {
        phone.faults.clear();
    }
}

Json readFile(Phone& phone, const Json& given) {
    const std::string path = given["path"];
    const std::optional<std::string> content = phone.files.get(path);
    if (!content) throw phone::Error("there is no file " + path);
    return {{"path", path}, {"bytes", cover::escape(*content)}};
}

Ability fault() {
    Argument words =
            placed("TEXT", "text", Type::Text, "The fault, as one argument or several words");
    words.isMany = true;
    const Argument one = {.name = "text", .help = "This one alone, as listed", .isInCtl = false};
    return {"fault",
            "Set a fault; without arguments list those in force, and how often each was met",
            {Request("POST", "/v1/faults",
                     [](Phone& phone, const Json& given) { phone.faults.set(given["text"]); },
                     {words}),
             Request("DELETE", "/v1/faults", removeFaults, {one},
                     {"--clear", "Take all faults away"}),
             Request("DELETE", "/v1/faults", {}, {words}, {"--remove", "Take this fault away"}),
             Request("GET", "/v1/faults", listFaults, {}, {},
                     [](const Json& answer) {
                         return showFaults(answer, "", isatty(STDOUT_FILENO) != 0);
                     })},
            "A fault is one of\n"
            "  on PREFIX EFFECT [times N]   commands that begin with PREFIX (*: all); EFFECT is\n"
            "     silent | late 2s | split 1ms | garble [all] | error | before \"TEXT\" |\n"
            "     after \"TEXT\" | inside \"TEXT\" | hangup [after N] | answer \"TEXT\" | half |\n"
            "     flood [N] | deaf\n"
            "  hid CALL EFFECT [after N] [times N]   calls of the panel's node; CALL is open | "
            "info |\n"
            "     config | write | *; EFFECT is error EIO | short 100 | late 2s | unplug\n"
            "  node PATH missing|unreadable|unwritable|eio|read-eio\n\n"
            "Examples:\n"
            "  bivista-emulator ctl fault 'on AT%SWV silent times 1'\n"
            "  bivista-emulator ctl fault 'hid write unplug after 1'\n"
            "  bivista-emulator ctl fault --remove 'hid write unplug after 1'\n"
            "  bivista-emulator ctl fault node /sys/class/bivista/bv2/bv2_recovery missing"};
}

Ability property() {
    return {"property",
            "Set a system property; without arguments list them all",
            {Request("PUT", "/v1/properties",
                     [](Phone& phone, const Json& given) {
                         phone.properties.set(given["key"], given["value"]);
                     },
                     {placed("KEY", "key", Type::Verbatim),
                      placed("VALUE", "value", Type::Verbatim)}),
             Request("DELETE", "/v1/properties", [](Phone& phone) { phone.properties.clear(); }, {},
                     {"--clear", "Take all properties away"}),
             Request("GET", "/v1/properties", listAll, {}, {},
                     [](const Json& answer) { return showMembers(answer.at("properties"), ""); })}};
}

Ability node() {
    const Argument path = placed("PATH", "path", Type::Text);
    return {"node",
            "Print a file of the phone, or give it the content TEXT",
            {Request("PUT", "/v1/node",
                     [](Phone& phone, const Json& given) {
                         phone.files.set(given["path"], given["bytes"]);
                     },
                     {path, placed("TEXT", "bytes", Type::Bytes, "May hold \\n, \\xHH, \\\\")}),
             Request("DELETE", "/v1/node",
                     [](Phone& phone, const Json& given) { phone.files.remove(given["path"]); },
                     {path}, {"--remove", "Remove the file"}),
             Request("GET", "/v1/node", readFile, {path}, {}, [](const Json& answer) {
                 return answer.at("bytes").get<std::string>() + "\n";
             })}};
}

Ability signal() {
    Argument name = placed("NAME", "name", Type::Text);
    for (const phone::Signal& known : phone::kSignals) name.words.emplace_back(known.name);
    Request request("POST", "/v1/signal",
                    [](Phone& phone, const Json& given) { phone.signal(given["name"]); }, {name});
    request.told = Told::ByEffect;
    return {"signal",
            "Send a signal to the program that \"run\" started",
            {request},
            "The program itself gets it, and not what the program has started. Refused when none "
            "runs.\n\n"
            "Examples:\n"
            "  bivista-emulator ctl signal USR1"};
}

}  // namespace

std::vector<Ability> ofPhone() {
    return {showing(),
            fault(),
            property(),
            node(),
            {"wakelock",
             "The display's wake lock: on is a lit display",
             {Request("PUT", "/v1/wakelock",
                      [](Phone& phone, const Json& given) {
                          phone.files.setWakeLock(given["held"]);
                      },
                      {placed("STATE", "held", Type::Boolean)})}},
            signal(),
            {"reset",
             "Make the phone as it was at its start: no cover, no faults",
             {Request("POST", "/v1/reset", [](const Emulator& emulator, const Json&) {
                 emulator.neighbours.reset();
                 // Last: its entries tell the journal's reader that the state is another.
                 emulator.phone.reset();
             })}}};
}

}  // namespace control
