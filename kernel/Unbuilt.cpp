// Methods whose subject is not built yet: they refuse.

#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

Return<Status> Bivista::setSubDisplayBrightness(int32_t /*value*/) {
    return Status::FAIL;
}

Return<Status> Bivista::setSubDisplayPowerState(bool /*enable*/) {
    return Status::FAIL;
}

Return<void> Bivista::getSubDisplayInfo(getSubDisplayInfo_cb cb) {
    cb(Status::FAIL, SubScreenInfo{});
    return Void();
}

Return<Status> Bivista::drawSubDisplay(const hidl_vec<uint32_t>& /*frame*/) {
    return Status::FAIL;
}

Return<void> Bivista::getSubDisplayPowerState(getSubDisplayPowerState_cb cb) {
    cb(Status::FAIL, SubScreenState::UNINITIALIZED);
    return Void();
}

Return<void> Bivista::setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& /*callback*/) {
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
