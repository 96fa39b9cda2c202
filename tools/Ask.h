#pragma once

#include <functional>
#include <string>

#include "tools/Service.h"

namespace bivistactl {

// Calls of the service that wait for the cover: while they do, a terminal shows that the program is
// alive. All throw Failure when the service did not carry out the call.

// A method that answers with a text.
using TextMethod = ::android::hardware::Return<void> (BivistaV1_0::*)(
        std::function<void(::vendor::qmx::hardware::bivista::V1_0::Status,
                           const ::android::hardware::hidl_string&)>
                done);

struct TextAnswer {
    ::vendor::qmx::hardware::bivista::V1_0::Status status;
    std::string text;
};

TextAnswer askForText(const ::android::sp<BivistaV1_0>& service, TextMethod method);

// A call that answers with a status alone.
using StatusCall =
        std::function<::android::hardware::Return<::vendor::qmx::hardware::bivista::V1_0::Status>(
                const ::android::sp<BivistaV1_0>& service)>;

::vendor::qmx::hardware::bivista::V1_0::Status askForStatus(
        const ::android::sp<BivistaV1_0>& service, const StatusCall& call);

// The same as commands of their own. The text is printed as printCoverText() does, also what came
// before an answer of FAIL; `failure` is what FAIL means, as for reportStatus().
int printAnswer(TextMethod method, const std::string& failure);
int reportAnswer(const StatusCall& call, const std::string& failure);

}  // namespace bivistactl
