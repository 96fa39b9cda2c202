// bivistactl dump: what the service knows and counts, as it prints it itself.

#include <cutils/native_handle.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Service.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;

constexpr const char* kHelp = R"(
The service writes to the standard output of this command by itself. It asks nothing
of the cover, but serves one call at a time: while another one waits for the cover, so
does this. A service that has no dump prints nothing.

Examples:
  bivistactl dump
  bivistactl dump --json | jq .at
  bivistactl dump --reset > before.txt)";

void requireOutput() {
    if (fcntl(STDOUT_FILENO, F_GETFD) >= 0) return;
    throw Failure(EXIT_NO_OUTPUT,
                  std::string("cannot write to standard output: ") + strerror(errno));
}

int dump(const std::vector<hidl_string>& options) {
    const auto service = findService();
    requireOutput();
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    handle->data[0] = STDOUT_FILENO;
    requireDelivered(service->debug(hidl_handle(handle), options));
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addDumpCommand(CLI::App& program, Action& chosen) {
    CLI::App* command = program.add_subcommand("dump", "Show what the service knows and counts");
    struct Options {
        bool json = false;
        bool reset = false;
    };
    auto options = std::make_shared<Options>();
    command->add_flag("--json", options->json, "Print one JSON object on one line");
    command->add_flag("--reset", options->reset, "Set the counters to 0 when they are printed");
    command->footer(kHelp);
    command->callback([options, &chosen] {
        std::vector<hidl_string> words;
        if (options->json) words.emplace_back("--json");
        if (options->reset) words.emplace_back("--reset");
        chosen = [words] { return dump(words); };
    });
}

}  // namespace bivistactl
