// bivistactl dump: what the service knows and counts, as it prints it itself.

#include <cutils/native_handle.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/hidl/UniqueFd.h"
#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Service.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::UniqueFd;

constexpr const char* kHelp = R"(
The service asks nothing of the cover for it, but serves one call at a time: while another
one waits for the cover, so does this.

Examples:
  bivistactl dump
  bivistactl dump --json | jq .at
  bivistactl dump --reset > before.txt)";

// The service writes into the input what is read from the output.
struct Pipe {
    UniqueFd output;
    UniqueFd input;
};

Pipe makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Failure(EXIT_NO_OUTPUT, std::string("cannot make a pipe: ") + strerror(errno));
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// Everything until the last input is closed.
std::string readAll(const UniqueFd& output) {
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t count = read(output.get(), piece, sizeof(piece));
        if (count == 0 || (count < 0 && errno != EINTR)) return text;
        if (count > 0) text.append(piece, static_cast<size_t>(count));
    }
}

int dump(bool json, bool reset) {
    std::vector<hidl_string> options;
    if (json) options.emplace_back("--json");
    if (reset) options.emplace_back("--reset");
    const auto service = findService();
    Pipe pipe = makePipe();
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    handle->data[0] = pipe.input.get();
    std::string text;
    std::thread reader([&] { text = readAll(pipe.output); });
    const auto called = service->debug(hidl_handle(handle), options);
    pipe.input = UniqueFd();
    reader.join();
    requireDelivered(called);
    if (text.empty()) {
        throw Failure(EXIT_ANSWERED_FAIL, "the service has no dump, or could not write it");
    }
    printOrFail(text);
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addDumpCommand(cli::Command& program) {
    cli::Command& command = program.add("dump", "Show what the service knows and counts");
    auto reset = std::make_shared<bool>(false);
    addPrinting(command, [reset](bool json) { return dump(json, *reset); });
    command.flag("--reset", reset.get(), "Set the counters to 0 when they are printed");
    command.setHelp(kHelp);
}

}  // namespace bivistactl
