#include "tools/Ask.h"

#include "tools/Command.h"
#include "tools/Output.h"
#include "tools/Spinner.h"

namespace bivistactl {

using ::android::sp;
using ::android::hardware::hidl_string;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

TextAnswer askForText(const sp<BivistaV1_0>& service, TextMethod method) {
    const Spinner spinner;
    TextAnswer answer = {Status::FAIL, ""};
    requireDelivered((service.get()->*method)([&](Status answered, const hidl_string& text) {
        answer = {answered, {text.c_str(), text.size()}};
    }));
    return answer;
}

Status askForStatus(const sp<BivistaV1_0>& service, const StatusCall& call) {
    const Spinner spinner;
    const auto answered = call(service);
    requireDelivered(answered);
    return answered;
}

int printAnswer(TextMethod method, const std::string& failure) {
    const TextAnswer answer = askForText(findService(), method);
    if (!answer.text.empty()) printCoverText(answer.text);
    return reportStatus(answer.status, failure);
}

int reportAnswer(const StatusCall& call, const std::string& failure) {
    return reportStatus(askForStatus(findService(), call), failure);
}

}  // namespace bivistactl
