#include "tools/commands/Command.h"

#include <stdlib.h>
#include <unistd.h>

#include <exception>
#include <memory>
#include <new>
#include <string>

#include "tools/Failure.h"
#include "tools/text/Output.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

void addPrinting(cli::Command& command, const PrintingAction& action) {
    auto json = std::make_shared<bool>(false);
    addJsonFlag(command, json.get());
    command.setAction([action, json] { return action(*json); });
}

void addPrintingCommand(cli::Command& parent, const char* name, const char* about, const char* help,
                        const PrintingAction& action) {
    cli::Command& command = parent.add(name, about);
    command.setHelp(help);
    addPrinting(command, action);
}

void addJsonFlag(cli::Command& command, bool* json) {
    command.flag("--json", json, "Print one JSON object on one line");
}

void addIdleJsonFlag(cli::Command& command) {
    command.flag("--json", "Changes nothing: JSON is printed in any case");
}

namespace {

// Tells people what the action throws, but for a lack of memory.
int runAndTell(const Action& action) {
    try {
        return action();
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.code;
    } catch (const cli::OutputFailed& failure) {
        complain(failure.what());
        return EXIT_NO_OUTPUT;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        complain(std::string("this program failed, not the service: ") + error.what() +
                 ". \"bivistactl status\" tells what was done until then.");
        return EXIT_NO_OUTPUT;
    }
}

// Needs no memory.
void complainOfMemory() {
    constexpr char kLine[] =
            "bivistactl: this program failed, not the service: it ran out of memory. \"bivistactl "
            "status\" tells what was done until then.\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine, sizeof(kLine) - 1);
}

}  // namespace

int runToExitStatus(const Action& action) {
    try {
        return runAndTell(action);
    } catch (const std::bad_alloc&) {
        complainOfMemory();
        return EXIT_NO_OUTPUT;
    }
}

void endOnUncaughtException() {
    const std::exception_ptr uncaught = std::current_exception();
    if (uncaught == nullptr) abort();
    _exit(runToExitStatus([&]() -> int { std::rethrow_exception(uncaught); }));
}

int reportStatus(Status answered, const std::string& failure) {
    if (answered == Status::OK) return EXIT_ANSWERED_OK;
    complain("FAIL: " + failure);
    return EXIT_ANSWERED_FAIL;
}

}  // namespace bivistactl
