// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/PlayCommand.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include <unistd.h>

#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/phone/Error.h"
#include "emulator/play/Apart.h"
#include "emulator/play/Report.h"
#include "emulator/play/Scenario.h"

namespace play {

namespace {

namespace fs = std::filesystem;

constexpr char kProgram[] = "bivista-emulator";

// Exit statuses, the least of them first.
constexpr int kFailed = 1;
constexpr int kNoService = 3;
constexpr int kWrongFile = 2;
constexpr int kNotWritten = 4;

const std::map<std::string, Format> kFormats = {
        {"text", Format::Text}, {"tap", Format::Tap}, {"junit", Format::Junit}};

struct Arguments {
    std::vector<std::string> files;
    bool check = false;
    std::string format = "text";
    Options options;
};

const std::vector<Expectation>& expectationsOf(const Step& step) {
    static const std::vector<Expectation> none;
    if (const auto* wait = std::get_if<Wait>(&step.what)) return wait->conditions;
    if (const auto* expect = std::get_if<Expect>(&step.what)) return expect->items;
    if (const auto* never = std::get_if<Never>(&step.what)) return never->items;
    return none;
}

void requireNoLog(const Scenario& scenario) {
    for (const Step& step : scenario.steps) {
        for (const Expectation& each : expectationsOf(step)) {
            if (!std::holds_alternative<LogPattern>(each.what)) continue;
            throw Wrong(scenario.file.string() + ":" + std::to_string(each.place.line) + ":" +
                        std::to_string(each.place.column) +
                        ": it reads the log of a service that runs: name that with --log");
        }
    }
}

// Reads all files; says what is wrong with those that are.
std::vector<Scenario> readAll(const Arguments& arguments, bool* isWrong) {
    std::vector<Scenario> scenarios;
    for (const std::string& file : arguments.files) {
        try {
            scenarios.push_back(read(file));
            const Options& options = arguments.options;
            if (options.running && options.log.empty()) requireNoLog(scenarios.back());
        } catch (const Wrong& wrong) {
            cli::complain(kProgram, wrong.what());
            *isWrong = true;
        }
    }
    return scenarios;
}

// Those that are kept must not replace each other.
void requireNames(const std::vector<Scenario>& scenarios) {
    std::map<fs::path, fs::path> files;
    for (const Scenario& scenario : scenarios) {
        const auto [known, isNew] = files.emplace(scenario.file.stem(), scenario.file);
        if (isNew) continue;
        cli::refuseUsage("--keep", known->second.string() + " and " + scenario.file.string() +
                                           " would be kept under one name");
    }
}

// The worst of what came of the scenarios, as an exit status.
int playAll(const std::vector<Scenario>& scenarios, const Arguments& arguments) {
    std::ostringstream text;
    const auto print = [&text] {
        cli::printOrFail(text.str());
        text.str("");
    };
    const auto report = makeReport(kFormats.at(arguments.format), text);
    int status = 0;
    report->begin(scenarios.size());
    for (const Scenario& scenario : scenarios) {
        print();
        const Result result = playApart(scenario, arguments.options);
        if (result.failure) status = std::max(status, kFailed);
        if (result.noService) status = kNoService;
        report->add(result);
    }
    report->end();
    print();
    return status;
}

int play(const Arguments& arguments) {
    bool isWrong = false;
    const std::vector<Scenario> scenarios = readAll(arguments, &isWrong);
    for (const Scenario& scenario : scenarios) {
        if (!arguments.check) break;
        const size_t steps = scenario.steps.size();
        cli::printOrFail(scenario.file.string() + ": right, " + std::to_string(steps) +
                         (steps == 1 ? " step\n" : " steps\n"));
    }
    if (isWrong) return kWrongFile;
    if (arguments.check) return 0;
    try {
        if (!arguments.options.keep.empty()) {
            requireNames(scenarios);
            fs::create_directories(arguments.options.keep);
        }
        return playAll(scenarios, arguments);
    } catch (const fs::filesystem_error& error) {
        cli::complain(kProgram, error.what());
        return kNotWritten;
    } catch (const phone::Error& error) {
        cli::complain(kProgram, error.what());
        return kNoService;
    } catch (const Interrupted& signal) {
        // As if it had not been waited for.
        ::signal(signal.number, SIG_DFL);
        raise(signal.number);
        return kNoService;
    }
}

std::string checkFormat(const std::string& text) {
    return kFormats.contains(text) ? "" : "must be text, tap or junit";
}

}  // namespace

void addPlay(cli::Command& program) {
    const auto arguments = std::make_shared<Arguments>();
    cli::Command& command = program.add("play", "Play scenarios on an emulated phone");
    command.takeWords("FILE", &arguments->files, "Scenarios, see docs/scenarios.md").required();
    command.flag("--check", &arguments->check, "Read the files, and play nothing");
    command.take("--format", &arguments->format, "How results are printed")
            .check(checkFormat, "{text,tap,junit}")
            .showDefault();
    const cli::Option running =
            command.flag("--running", &arguments->options.running,
                         "Play on the phone and the service of HIDL_SOCKET_DIR, which run already");
    command.take("--log", &arguments->options.log, "With --running: the file of the service's log")
            .needs(running);
    command.take("--keep", &arguments->options.keep,
                 "Leave journal and log in this folder, as NAME.jsonl and NAME.log");
    command.setHelp(
            "Each scenario has a phone and a service of its own, which end with it. With "
            "--running it changes\n"
            "the phone that is there, and puts nothing back.\n\n"
            "Exit status: 0 all came as expected; 1 something else came; 2 a file or an argument "
            "is wrong, and\n"
            "nothing was played; 3 there was no service; 4 standard output or a kept file cannot "
            "be "
            "written,\n"
            "or this program ran out of memory, descriptors or threads.\n\n"
            "Examples:\n"
            "  bivista-emulator play scenarios/*.yaml\n"
            "  bivista-emulator play --keep /tmp/kept scenarios/slow-cover.yaml");
    command.setAction([arguments] {
        const Options& options = arguments->options;
        if (options.running && !options.keep.empty()) {
            cli::refuseUsage("play", "--keep does not go with --running");
        }
        if (!options.log.empty() && access(options.log.c_str(), R_OK) != 0) {
            cli::refuseUsage("--log", options.log + ": " + strerror(errno));
        }
        if (!options.log.empty() && !fs::is_regular_file(options.log)) {
            cli::refuseUsage("--log", options.log + " is no file");
        }
        return play(*arguments);
    });
}

}  // namespace play
