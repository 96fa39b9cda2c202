// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl at: an AT command to the cover, with its answer line by line.

#include <strings.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivistaAtCallback.h>

#include <atomic>
#include <memory>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback;

constexpr char kHelp[] = R"(
Prints each line of the answer as it comes, byte by byte as the cover sent it; on
a terminal, control characters are spelled (<ESC>). The cover has 5 seconds for
each line. While the command runs, no other call of the service is served. --json prints
the answer as a whole.

CMD begins with AT, in either case of its letters, and has no carriage return or line feed
inside: the cover would take what follows for a second command, whose answer every later
command would get in the place of its own. "bivistactl call sendAtCommand" sends anything.

Examples:
  bivistactl at 'AT%SWV'
  bivistactl at 'AT%HPD'
  bivistactl at --json 'AT%SWV')";

constexpr char kFailed[] =
        "the command is malformed, no cover is attached, it does not answer, or it rejected the "
        "command. The service's log tells which.";

const std::string kAsItIs = "; \"bivistactl call sendAtCommand TEXT null\" sends a text as it is";

// Prints the lines of the answer. Called on the thread of the RPC pool.
class LinePrinter : public IBivistaAtCallback {
  public:
    Return<void> onAtResponse(const hidl_string& line) override {
        mPrinted = true;
        if (!printCoverLine({line.c_str(), line.size()})) mFailed = true;
        return Void();
    }

    bool printed() const { return mPrinted; }
    bool failed() const { return mFailed; }

  private:
    std::atomic<bool> mPrinted = false;
    std::atomic<bool> mFailed = false;
};

// The fault of a command that the service would refuse, or the cover would misunderstand.
std::string checkText(const std::string& text) {
    if (strncasecmp(text.c_str(), "AT", 2) != 0) return "an AT command begins with AT" + kAsItIs;
    if (text.find_first_of("\r\n") == std::string::npos) return "";
    return "a carriage return or line feed inside makes two commands of one" + kAsItIs;
}

int printWhole(const std::string& text) {
    const sp<IBivistaAtCallback> none;
    return order<&BivistaV1_0::sendAtCommand>(true, kFailed, text, none);
}

int printLines(const std::string& text) {
    const sp<LinePrinter> printer = new LinePrinter;
    const auto answer = call<&BivistaV1_0::sendAtCommand>(findService(), text, printer);
    if (printer->failed()) throw Failure(EXIT_NO_OUTPUT, "cannot write to standard output.");
    // Without a blank line at its start, an answer reaches only the response, not the callback.
    if (!printer->printed() && !answer.value.empty()) printCoverText(answer.value);
    return reportStatus(answer.status, kFailed);
}

}  // namespace

void addAtCommand(cli::Command& program) {
    cli::Command& command = program.add("at", "Send an AT command to the cover", kHelp);
    auto text = std::make_shared<std::string>();
    command.take("CMD", text.get(),
                 "The command, beginning with AT, without carriage return or line feed")
            .required()
            .check(checkText);
    addPrinting(command,
                [text](bool json) { return json ? printWhole(*text) : printLines(*text); });
}

}  // namespace bivistactl
