#include "tools/Command.h"

#include "tools/Failure.h"
#include "tools/Output.h"

namespace bivistactl {

using ::vendor::qmx::hardware::bivista::V1_0::Status;

int reportStatus(Status answered, const std::string& failure) {
    if (answered == Status::OK) return EXIT_ANSWERED_OK;
    complain("FAIL: " + failure);
    return EXIT_ANSWERED_FAIL;
}

int reportCall(const ::android::hardware::Return<Status>& answered, const std::string& failure) {
    requireDelivered(answered);
    return reportStatus(answered, failure);
}

}  // namespace bivistactl
