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

#include "tools/Command.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Service.h"

namespace bivistactl {
namespace {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;

constexpr const char* kHelp = R"(
The service asks nothing of the cover for it, but serves one call at a time: while another
one waits for the cover, so does this.

Examples:
  bivistactl dump
  bivistactl dump --json | jq .at
  bivistactl dump --reset > before.txt)";

// A pipe: the service writes into the one end what is read from the other.
class Pipe {
  public:
    Pipe() {
        if (pipe2(mEnds, O_CLOEXEC) != 0) {
            throw Failure(EXIT_NO_OUTPUT, std::string("cannot make a pipe: ") + strerror(errno));
        }
    }
    ~Pipe() {
        close(mEnds[0]);
        closeInput();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int input() const { return mEnds[1]; }
    void closeInput() {
        if (mEnds[1] >= 0) close(mEnds[1]);
        mEnds[1] = -1;
    }

    // Everything until the last input is closed.
    std::string read() const {
        std::string text;
        char piece[4096];
        for (;;) {
            const ssize_t count = ::read(mEnds[0], piece, sizeof(piece));
            if (count == 0 || (count < 0 && errno != EINTR)) return text;
            if (count > 0) text.append(piece, static_cast<size_t>(count));
        }
    }

  private:
    int mEnds[2] = {-1, -1};
};

int dump(const std::vector<hidl_string>& options) {
    const auto service = findService();
    Pipe pipe;
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    handle->data[0] = pipe.input();
    std::string text;
    std::thread reader([&] { text = pipe.read(); });
    const auto called = service->debug(hidl_handle(handle), options);
    pipe.closeInput();
    reader.join();
    requireDelivered(called);
    if (text.empty())
        throw Failure(EXIT_ANSWERED_FAIL, "the service has no dump, or could not write it");
    printOrFail(text);
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
