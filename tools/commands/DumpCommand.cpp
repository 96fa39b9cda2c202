// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl dump: prints the service's debug dump as the service writes it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/ExitStatus.h"
#include "tools/client/Dump.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
For a dump the service asks nothing of the cover. But it serves one call at a time: while
another call waits for the cover, the dump waits too.

Examples:
  bivistactl dump
  bivistactl dump --json | jq .at
  bivistactl dump --reset > before.txt
  bivistactl dump --events
  bivistactl dump --since 17 --json | jq .events)";

int dump(const std::vector<std::string>& options) {
    const std::string text = readDump(findService(), options);
    if (text.empty()) {
        throw Failure(EXIT_ANSWERED_FAIL, "the service has no dump, or could not write it");
    }
    printOrFail(text);
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addDumpCommand(cli::Command& program) {
    cli::Command& command = program.add("dump", "Show what the service knows and counts", kHelp);
    const auto json = addJsonFlag(command);
    const auto reset = addFlag(command, "--reset", "Set the counters to 0 when they are printed");
    const auto events = addFlag(command, "--events", "Show the last events instead");
    const auto since = std::make_shared<std::optional<uint32_t>>();
    const auto take = [since](const std::string& text) {
        return faultOf([&] { *since = parseUint32(text); });
    };
    command.takeParsed("--since", take, "Show the events above this number");
    command.setAction([json, reset, events, since] {
        if (*reset && (*events || since->has_value())) {
            throw Failure(EXIT_USAGE,
                          "--reset prints the counters, which are not among the events");
        }
        std::vector<std::string> options;
        if (*json) options.emplace_back("--json");
        if (*reset) options.emplace_back("--reset");
        if (*events) options.emplace_back("--events");
        if (since->has_value()) options.insert(options.end(), {"--since", std::to_string(**since)});
        return dump(options);
    });
}

}  // namespace bivistactl
