#include "tools/Ask.h"

#include "tools/Command.h"
#include "tools/Methods.h"
#include "tools/Output.h"
#include "tools/Spinner.h"

namespace bivistactl {

using ::android::sp;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

namespace {

Answer ask(const sp<BivistaV1_0>& service, const std::string& method,
           const std::vector<std::string>& arguments) {
    const Call call = findMethod(method)->bind(arguments);
    const Spinner spinner;
    return call(service);
}

}  // namespace

TextAnswer askForText(const sp<BivistaV1_0>& service, const std::string& method) {
    const Answer answer = ask(service, method, {});
    return {answer.status.value(), answer.value.value().get<std::string>()};
}

Status askForStatus(const sp<BivistaV1_0>& service, const StatusCall& call) {
    const Spinner spinner;
    const auto answered = call(service);
    requireDelivered(answered);
    return answered;
}

int printAnswer(const std::string& method, const std::string& failure) {
    const TextAnswer answer = askForText(findService(), method);
    if (!answer.text.empty()) printCoverText(answer.text);
    return reportStatus(answer.status, failure);
}

int printJson(const std::string& method, const std::vector<std::string>& arguments,
              const std::string& failure) {
    const Answer answer = ask(findService(), method, arguments);
    printOrFail(toLine(method, answer));
    return reportStatus(answer.status.value(), failure);
}

int reportAnswer(const StatusCall& call, const std::string& failure) {
    return reportStatus(askForStatus(findService(), call), failure);
}

}  // namespace bivistactl
