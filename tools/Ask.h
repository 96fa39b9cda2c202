#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/Service.h"

namespace bivistactl {

// Calls of the service that wait for the cover: while they do, a terminal shows that the program is
// alive. All throw Failure when the service did not carry out the call.

struct TextAnswer {
    ::vendor::qmx::hardware::bivista::V1_0::Status status;
    std::string text;
};

// `method`: the name of one without arguments that answers with a text.
TextAnswer askForText(const ::android::sp<BivistaV1_0>& service, const std::string& method);

// A call that answers with a status alone.
using StatusCall =
        std::function<::android::hardware::Return<::vendor::qmx::hardware::bivista::V1_0::Status>(
                const ::android::sp<BivistaV1_0>& service)>;

::vendor::qmx::hardware::bivista::V1_0::Status askForStatus(
        const ::android::sp<BivistaV1_0>& service, const StatusCall& call);

// The same as commands of their own. The text is printed as printCoverText() does, also what came
// before an answer of FAIL; `failure` is what FAIL means, as for reportStatus().
int printAnswer(const std::string& method, const std::string& failure);
int reportAnswer(const StatusCall& call, const std::string& failure);

// Calls a method and prints its answer as "bivistactl call" does. FAIL is told to people as well.
int printJson(const std::string& method, const std::vector<std::string>& arguments,
              const std::string& failure);

}  // namespace bivistactl
