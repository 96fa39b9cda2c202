// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Shared by the commands: how each is added, and how one that calls the service ends.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/client/Call.h"
#include "tools/commands/Commands.h"
#include "tools/text/Arguments.h"
#include "tools/text/Json.h"
#include "tools/text/Output.h"

namespace bivistactl {

// Adds the commands that draw, such as "sub show", below "sub".
void addSubDrawing(cli::Command& sub);
// Adds "check", below "firmware".
void addFirmwareCheck(cli::Command& firmware);
// Makes the command print each state of the sub display as it comes. A signal ends the command.
void addSubDisplayWatch(cli::Command& command);

// For a FAIL that the service's interface does not list.
inline constexpr char kRefused[] = "the service refused. Its log tells why.";
// For a FAIL to a call that sends the cover a command.
inline constexpr char kNotAnswered[] =
        "no cover is attached, it does not answer, or it rejected the command. The service's log "
        "tells which.";
// For FAIL to an order that the service passes on to the kernel.
inline constexpr char kNoControlFile[] =
        "the phone's kernel does not take orders for upgrades. The service's log tells why.";
// For FAIL to getSubDisplayInfo().
inline constexpr char kNoPanel[] =
        "there is no panel. See \"bivistactl status\", and attach the cover.";

// What toJson() makes of the sub display's state and panel, in words for people.
// "ON", or "state 9" for a number without a name.
std::string stateInWords(const Json& state);
// "128 x 64, format 1".
std::string panelInWords(const Json& panel);

// The fault of a text, from the BadArgument that `parse` throws; empty for a good text.
template <typename Parse>
std::string faultOf(const Parse& parse) {
    try {
        parse();
        return "";
    } catch (const BadArgument& bad) {
        return bad.what();
    }
}

// Adds an argument that the command line must have, and returns the place of its value. `parse`
// reads the text; a text for which it throws BadArgument is wrong usage.
template <typename T>
std::shared_ptr<T> addArgument(cli::Command& command, const std::string& name,
                               const std::string& help, T (*parse)(const std::string& text)) {
    auto value = std::make_shared<T>();
    const auto take = [parse, value](const std::string& text) {
        return faultOf([&] { *value = parse(text); });
    };
    command.takeParsed(name, take, help).required();
    return value;
}

// Adds an option without a value. The returned flag becomes true when the option is given.
std::shared_ptr<bool> addFlag(cli::Command& command, const char* name, const char* help);
std::shared_ptr<bool> addJsonFlag(cli::Command& command);
// For a command that prints JSON in any case.
void addIdleJsonFlag(cli::Command& command);

// Adds --json to a command, and has it run the action.
void addPrinting(cli::Command& command, const std::function<int(bool json)>& action);

// A command without arguments, most often one call of the service.
struct Plain {
    const char* name;
    const char* about;
    const char* help;
    // Prints JSON when `json` is true. `failure` says what FAIL means, and names the remedy.
    int (*run)(bool json, const char* failure);
    const char* failure = kNotAnswered;
};
void addPlain(cli::Command& parent, const Plain& command);

// Ends a command that made one call of the service: silently on OK, with `failure` on standard
// error on FAIL. Returns the exit status.
int reportStatus(Status answered, const std::string& failure);

// The same; with `json`, first prints the answer as "bivistactl call" does.
template <auto method, typename T>
int reportAnswer(const T& answer, bool json, const std::string& failure) {
    if (json) printOrFail(toLine(methodName<method>(), answer));
    return reportStatus(statusOf(answer), failure);
}

// Calls the method and waits for its answer. Prints nothing but JSON.
template <auto method, typename... Inputs>
int order(bool json, const char* failure, const Inputs&... inputs) {
    return reportAnswer<method>(ask<method>(findService(), inputs...), json, failure);
}

// Gives the command a value to read and to hand to the service's method.
template <auto method, typename T>
void addSetting(cli::Command& command, const std::string& name, const std::string& help,
                T (*parse)(const std::string& text), const char* failure) {
    const auto value = addArgument(command, name, help, parse);
    addPrinting(command, [=](bool json) { return order<method>(json, failure, *value); });
}

// Prints the text of the method's answer as printCoverText() does, also when the status is FAIL.
template <auto method>
int printText(bool json, const char* failure) {
    const Answer<std::string> answer = ask<method>(findService());
    if (!json && !answer.value.empty()) printCoverText(answer.value);
    return reportAnswer<method>(answer, json, failure);
}

}  // namespace bivistactl
