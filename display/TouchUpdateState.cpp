// The touch update state, which the phone's touch driver publishes and the cover has to know.

#include "display/UpdateStateCommand.h"
#include "kernel/Bivista.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<Status> Bivista::bv_update_state() {
    std::string text;
    const int32_t nodeError = readString(kUpdateStatePath, text);
    Status status = Status::FAIL;
    if (nodeError == 0) status = sendAndLog(*this, __func__, makeUpdateStateCommand(text));
    LOG_DEBUG("%s : ATCMD_Status : %d, sysNodeError : %d\n", __func__, static_cast<int>(status),
              nodeError);
    return status;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
