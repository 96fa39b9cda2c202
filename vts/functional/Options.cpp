// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "Options.h"

#include <algorithm>
#include <cstdio>

namespace bivista_vts {

namespace {

constexpr char kUsage[] =
        "Options of this suite, after those of GoogleTest:\n"
        "  --with=THING[,THING]       the phone has these: a test that misses one fails; THING:\n"
        "                             cover, panel, nodes, accessory, dump, folder, image, newer,\n"
        "                             plugging, events, silence, hangup\n"
        "  --without=THING[,THING]    the phone lacks these: cover, panel\n"
        "  --allow-loader             the firmware of the cover may be upgraded, and its loader\n"
        "                             entered, from which it may not come back by itself\n"
        "  --patience=SECONDS         when a wait is in vain; default: 60\n"
        "  --panel=WIDTHxHEIGHTxFORMAT\n"
        "                             what the sub display reports; default: anything\n"
        "  --version                  the suite's version, and nothing else\n"
        "Shell commands, for what the interface cannot provoke:\n"
        "  --attach-command=COMMAND   puts the cover on\n"
        "  --detach-command=COMMAND   takes it off; both: plugging\n"
        "  --event-command=COMMAND    makes the phone report the touch or pen event named by $1\n"
        "  --silence-command=COMMAND  makes the cover leave its next AT%SWV unanswered\n"
        "  --hangup-command=COMMAND   makes the cover go amid its next answer to a command that\n"
        "                             begins with $1, or to AT%SWV\n";

Options sOptions;

// Whether `argument` is `name` and a value.
bool takeValue(const std::string& argument, const std::string& name, std::string* value) {
    if (argument.compare(0, name.size(), name) != 0) return false;
    *value = argument.substr(name.size());
    return true;
}

bool takeThings(const std::string& list, const std::set<std::string>& known,
                std::set<std::string>* things) {
    for (size_t begin = 0; begin <= list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        const std::string thing = list.substr(begin, end - begin);
        if (known.count(thing) == 0) return false;
        things->insert(thing);
        begin = end + 1;
    }
    return true;
}

bool takeSeconds(const std::string& text, std::chrono::seconds* seconds) {
    const bool isNumber = !text.empty() && text.size() <= 6 &&
                          text.find_first_not_of("0123456789") == std::string::npos;
    if (isNumber) *seconds = std::chrono::seconds(std::stoi(text));
    return isNumber;
}

bool take(const std::string& argument) {
    // GoogleTest has printed its own part, and will run no test.
    if (argument == "--help" || argument == "-h") {
        fputs(kUsage, stdout);
        return true;
    }
    if (argument == "--allow-loader") {
        sOptions.allowLoader = true;
        return true;
    }
    if (argument == "--version") {
        sOptions.version = true;
        return true;
    }
    std::string value;
    if (takeValue(argument, "--with=", &value)) {
        return takeThings(value,
                          {kCover, kPanel, kNodes, kAccessory, kDump, kFolder, kImage, kNewer,
                           kPlugging, kEvents, kSilence, kHangup},
                          &sOptions.with);
    }
    if (takeValue(argument, "--without=", &value)) {
        return takeThings(value, {kCover, kPanel}, &sOptions.without);
    }
    if (takeValue(argument, "--patience=", &value)) return takeSeconds(value, &sOptions.patience);
    return takeValue(argument, "--panel=", &sOptions.panel) ||
           takeValue(argument, "--attach-command=", &sOptions.attachCommand) ||
           takeValue(argument, "--detach-command=", &sOptions.detachCommand) ||
           takeValue(argument, "--event-command=", &sOptions.eventCommand) ||
           takeValue(argument, "--silence-command=", &sOptions.silenceCommand) ||
           takeValue(argument, "--hangup-command=", &sOptions.hangupCommand);
}

}  // namespace

const Options& options() {
    return sOptions;
}

bool parseOptions(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (take(argv[i])) continue;
        fprintf(stderr, "bivista-vts: unknown argument '%s'\n%s", argv[i], kUsage);
        return false;
    }
    return true;
}

}  // namespace bivista_vts
