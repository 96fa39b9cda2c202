#include "tools/client/Ask.h"

#include "tools/commands/Methods.h"
#include "tools/text/Output.h"
#include "tools/text/Spinner.h"

namespace bivistactl {

using ::android::sp;

Answer ask(const sp<BivistaV1_0>& service, const std::string& method,
           const std::vector<std::string>& arguments) {
    const Call call = findMethod(method)->bind(arguments);
    const Spinner spinner;
    return call(service);
}

TextAnswer askForText(const sp<BivistaV1_0>& service, const std::string& method) {
    const Answer answer = ask(service, method);
    return {answer.status.value(), answer.value.value().get<std::string>()};
}

int printAnswer(const std::string& method, const std::string& failure) {
    const TextAnswer answer = askForText(findService(), method);
    if (!answer.text.empty()) printCoverText(answer.text);
    return reportStatus(answer.status, failure);
}

int printJson(const std::string& method, const std::vector<std::string>& arguments,
              const std::string& failure) {
    return reportAnswer(method, ask(findService(), method, arguments), failure, true);
}

int carryOut(const Order& order, bool json) {
    return reportAnswer(order.method, ask(findService(), order.method, order.arguments),
                        order.failure, json);
}

void addOrder(cli::Command& command, const std::function<Order()>& make) {
    addPrinting(command, [make](bool json) { return carryOut(make(), json); });
}

int reportAnswer(const std::string& method, const Answer& answer, const std::string& failure,
                 bool json) {
    if (json) printOrFail(toLine(method, answer));
    return reportStatus(answer.status.value(), failure);
}

}  // namespace bivistactl
