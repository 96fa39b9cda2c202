// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl call: any method of the interface by its name.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/Suggestion.h"
#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/commands/Methods.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
Prints one JSON object on one line. With a status and a result:
  {"method":"getGpiopin","status":"OK","value":"..."}
Bytes of a text that are not UTF-8 become \udcXX, XX being the byte.

Arguments: integers are decimal or 0x-hexadecimal, switches true or false, a
callback null, a frame @FILE (32-bit little-endian words) or numbers with commas.

"setLpwgCallback null" does not return when a callback is registered: the service's
uevent worker stops the USB monitoring for good, the service waits for it for ever, and
no later call is served until the service is restarted.

Examples:
  bivistactl call getBV2Connect
  bivistactl call setPowerStatus true false
  bivistactl call setBVBrightnessOffset -20
  bivistactl call sendAtCommand 'AT%SWV' null
  bivistactl call drawSubDisplay @frame.bin

Methods:
)";

std::string help() {
    std::string text = kHelp;
    for (const Method& method : methods()) {
        text += "  " + method.name;
        for (const Parameter& parameter : method.parameters) {
            text += " " + parameter.name + ":" + parameter.type;
        }
        text += "\n";
    }
    return text;
}

std::vector<std::string> names() {
    std::vector<std::string> names;
    for (const Method& method : methods()) names.push_back(method.name);
    return names;
}

// Printed before the call, since this call may never return. Every other method returns.
void warnOfTheLastCall() {
    remark("setLpwgCallback null does not return when a callback is registered: the service's "
           "uevent worker stops the USB monitoring for good, the service waits for it for ever, "
           "and no later call is served. Only a restart of the service ends that.");
}

int run(const Method& method, const std::vector<std::string>& texts) {
    const Call call = method.bind(texts);
    const auto service = findService();
    if (method.name == "setLpwgCallback") warnOfTheLastCall();
    const Called called = call(service);
    printOrFail(called.line);
    return called.status == Status::OK ? EXIT_ANSWERED_OK : EXIT_ANSWERED_FAIL;
}

// `words`: the method and its arguments, as they stand on the command line.
int call(const cli::Command& command, std::vector<std::string> words) {
    if (words.empty()) {
        throw Failure(EXIT_USAGE, "call needs a method. \"bivistactl call --help\" lists them.");
    }
    const Method* method = findMethod(words.front());
    if (method == nullptr) {
        const std::string suggestion = cli::suggest(words.front(), names());
        throw Failure(EXIT_USAGE, "there is no method \"" + words.front() + "\"" +
                                          (suggestion.empty() ? "." : suggestion) +
                                          " \"bivistactl call --help\" lists them.");
    }
    words.erase(words.begin());
    if (words.size() == 1 && (words.front() == "--help" || words.front() == "-h")) {
        printOrFail(command.help());
        return EXIT_ANSWERED_OK;
    }
    // Only after all arguments, since a text may be this word.
    if (words.size() > method->parameters.size() && words.back() == "--json") words.pop_back();
    return run(*method, words);
}

}  // namespace

void addCallCommand(cli::Command& program) {
    cli::Command& command =
            program.add("call", "Call any method of the service by its name", help());
    auto words = std::make_shared<std::vector<std::string>>();
    command.takeRest(words.get(), "bivistactl call METHOD [ARG...]");
    addIdleJsonFlag(command);
    command.setAction([words, &command] { return call(command, *words); });
}

}  // namespace bivistactl
