// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl wait: until the service's state is as a script needs it.

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/Suggestion.h"
#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/commands/StateWait.h"
#include "tools/text/Spinner.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using std::chrono::milliseconds;

constexpr char kHelp[] = R"(
Waits until all conditions hold at one time:
  attached           the attach of a cover is over, so that commands reach it
  detached           the cover is off, and the service has let go of it
  screen=on|off      the cover screen
  sub=STATE          the sub display: ON, OFF, INITIALIZED or UNINITIALIZED
  firmware=VERSION   a cover is attached, and answers with this version

A service that is not there yet is waited for too. Of all conditions only firmware= asks the
cover: when all others hold, and then after 1 s, 2 s, 4 s and each 8 s.

Exit status 1: the time was over; standard error has the last state. 3: there was no service
then. A service that is busy with a command gets 6 seconds more for its answer.

Examples:
  bivistactl wait attached
  bivistactl wait attached sub=ON --timeout 30
  bivistactl wait screen=off --timeout 0.5 && echo dark)";

// How long an answer may take after the end: longer than a cover's that does not answer.
constexpr int kPatienceMs = 6000;
constexpr double kDay = 24 * 60 * 60;

// All but those of a firmware.
const std::vector<std::string>& knownConditions() {
    static const std::vector<std::string> known = [] {
        std::vector<std::string> words = {"attached", "detached", "screen=on", "screen=off"};
        using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;
        for (const SubScreenState state : ::android::hardware::hidl_enum_range<SubScreenState>()) {
            words.push_back("sub=" + toString(state));
        }
        return words;
    }();
    return known;
}

constexpr char kFirmware[] = "firmware=";

std::string checkCondition(const std::string& word) {
    const auto& known = knownConditions();
    if (std::find(known.begin(), known.end(), word) != known.end()) return "";
    if (word == kFirmware) return word + " is without a version";
    if (word.starts_with(kFirmware)) return "";
    std::vector<std::string> names = known;
    names.push_back(kFirmware);
    return "\"" + word + "\" is no condition" + cli::suggest(word, names);
}

// Each subject once at most.
Conditions parseConditions(const std::vector<std::string>& words) {
    Conditions conditions;
    std::map<std::string, std::string> subjects;
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        const std::string subject = equals == std::string::npos ? "cover" : word.substr(0, equals);
        const auto [earlier, isFirst] = subjects.try_emplace(subject, word);
        if (!isFirst) cli::refuseUsage("CONDITION", word + " does not go with " + earlier->second);
        const std::string value = word.substr(equals + 1);
        if (subject == "cover") conditions.attached = word == "attached";
        if (subject == "screen") conditions.screen = value == "on";
        if (subject == "sub") conditions.sub = value;
        if (subject == "firmware") conditions.firmware = value;
    }
    if (conditions.attached == false && conditions.firmware) {
        cli::refuseUsage("CONDITION", subjects["firmware"] + " does not go with detached");
    }
    return conditions;
}

milliseconds parseTimeout(const std::string& text) {
    const bool isNumber = !text.empty() && text != "." &&
                          text.find_first_not_of("0123456789.") == std::string::npos &&
                          std::count(text.begin(), text.end(), '.') <= 1;
    const double seconds = isNumber ? strtod(text.c_str(), nullptr) : -1;
    if (!isNumber || seconds > kDay) {
        throw BadArgument(text + " is not a number of seconds from 0 to 86400");
    }
    return milliseconds(static_cast<int64_t>(seconds * 1000));
}

Json nameOf(Presence presence) {
    switch (presence) {
        case Presence::ATTACHED:
            return "attached";
        case Presence::DETACHED:
            return "detached";
        case Presence::CHANGING:
            return "changing";
        case Presence::UNKNOWN:
            break;
    }
    return nullptr;
}

Json describe(const View& view) {
    if (!view.absence.empty()) return nullptr;
    return {{"cover", nameOf(view.presence)},
            {"screen", view.screen ? Json(*view.screen ? "on" : "off") : Json()},
            {"sub", view.sub.is_object() ? view.sub["state"] : Json()},
            {"firmware", view.firmware ? Json(*view.firmware) : Json()}};
}

// In the words of the conditions.
std::string inWords(const View& view, const Conditions& conditions) {
    const auto known = [](const Json& value) {
        return value.is_string() ? spellControls(value.get<std::string>()) : "unknown";
    };
    const Json state = describe(view);
    std::string text = known(state["cover"]);
    if (view.presence == Presence::CHANGING) text = "neither attached nor detached";
    if (view.presence == Presence::UNKNOWN) text = "attached=unknown";
    text += ", screen=" + known(state["screen"]) + ", sub=" + known(state["sub"]);
    if (conditions.firmware) text += ", firmware=" + known(state["firmware"]);
    if (!view.fault.empty()) text += " (" + spellControls(view.fault) + ")";
    return text;
}

struct Options {
    std::vector<std::string> words;
    std::string timeoutText = "10";
    milliseconds timeout{10'000};
    int patienceMs = kPatienceMs;
};

int report(const Options& options, const Conditions& conditions, const StateWaited& waited) {
    if (waited.met) return EXIT_ANSWERED_OK;
    const bool isSeen = waited.last.absence.empty();
    if (!isSeen && !waited.silent) throw Failure(EXIT_NO_SERVICE, waited.last.absence);
    std::string wanted;
    for (const std::string& word : options.words) wanted += (wanted.empty() ? "" : ", ") + word;
    std::string text = "not so within " + options.timeoutText + " s: " + spellControls(wanted);
    if (isSeen) text += ". The last state: " + inWords(waited.last, conditions);
    if (waited.silent) {
        text += ". The service does not answer: it is busy, or it hangs. \"bivistactl doctor\" "
                "tells more";
    }
    complain(text);
    return EXIT_ANSWERED_FAIL;
}

int run(const Options& options, const Conditions& conditions, bool json) {
    const auto start = std::chrono::steady_clock::now();
    StateWaited waited;
    {
        const Spinner spinner(STDERR_FILENO, milliseconds(300), "the service");
        waited = waitForState(conditions, options.timeout, milliseconds(options.patienceMs));
    }
    const auto took =
            std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    if (json) {
        printOrFail(toLine({{"met", waited.met},
                            {"seconds", static_cast<double>(took.count()) / 1000},
                            {"state", describe(waited.last)}}) +
                    "\n");
    }
    return report(options, conditions, waited);
}

}  // namespace

void addWaitCommand(cli::Command& program) {
    cli::Command& command =
            program.add("wait", "Wait until the service's state is as a script needs it", kHelp);
    const auto options = std::make_shared<Options>();
    std::string known;
    for (const std::string& word : knownConditions()) known += word + ",";
    command.takeWords("CONDITION", &options->words, "All hold at one time")
            .required()
            .check(checkCondition, "{" + known + kFirmware + "}");
    const auto takeTimeout = [options](const std::string& text) {
        options->timeoutText = text;
        return faultOf([&] { options->timeout = parseTimeout(text); });
    };
    command.takeParsed("--timeout", takeTimeout,
                       "How long to wait, in seconds, such as 0.5; 0: looks once")
            .write("S", "10");
    command.take("--patience-ms", &options->patienceMs, "").range(0, kPatienceMs).hidden();
    const auto json = addJsonFlag(command);
    command.setAction([options, json]() -> int {
        const Conditions conditions = parseConditions(options->words);
        const auto wait = [&] { return run(*options, conditions, *json); };
        // A thread may wait for the service for ever.
        quick_exit(runToExitStatus(wait));
    });
}

}  // namespace bivistactl
