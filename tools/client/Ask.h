#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/client/Service.h"
#include "tools/commands/Command.h"

namespace bivistactl {

struct Answer;

// Calls of the service, which may wait for the cover: while they do, a terminal shows that the
// program is alive. All throw Failure when the service did not carry out the call.

// Calls a method of the interface; an argument is what "bivistactl call" takes.
Answer ask(const ::android::sp<BivistaV1_0>& service, const std::string& method,
           const std::vector<std::string>& arguments = {});

struct TextAnswer {
    ::vendor::qmx::hardware::bivista::V1_0::Status status;
    std::string text;
};

// `method`: the name of one without arguments that answers with a text.
TextAnswer askForText(const ::android::sp<BivistaV1_0>& service, const std::string& method);

// The same as a command of its own. The text is printed as printCoverText() does, also what came
// before an answer of FAIL; `failure` is what FAIL means, as for reportStatus().
int printAnswer(const std::string& method, const std::string& failure);

// Calls a method and prints its answer as "bivistactl call" does. FAIL is told to people as well.
int printJson(const std::string& method, const std::vector<std::string>& arguments,
              const std::string& failure);

// What a command has the service do: a method that answers with a status alone, its arguments, and
// what FAIL means.
struct Order {
    std::string method;
    std::vector<std::string> arguments;
    std::string failure;
};

// Has it done; prints nothing on OK, or, as JSON, what printJson() does.
int carryOut(const Order& order, bool json);

// Makes the command carry out the order that `make` tells once the command line was read; adds
// --json.
void addOrder(cli::Command& command, const std::function<Order()>& make);

// How a command ends whose method answered, which it prints before when JSON is asked for.
int reportAnswer(const std::string& method, const Answer& answer, const std::string& failure,
                 bool json);

}  // namespace bivistactl
