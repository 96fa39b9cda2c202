// Upgrades of the cover's firmware, which the kernel carries out, and the cover's two loaders.

#include "kernel/AtQuery.h"
#include "kernel/Bivista.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// Never destroyed: threads use it until the process is gone.
const std::string& sUpgradeControl =
        *new std::string("/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write");

constexpr int32_t kCancel = 0;
constexpr int32_t kUpgrade = 1;
constexpr int32_t kRecover = 6;

constexpr char kPowerNode[] = "/sys/class/bivista/bv2/bv2_pd";

Status control(int32_t value) {
    return Bivista::writeInt32(sUpgradeControl, value) != 0 ? Status::FAIL : Status::OK;
}

Status enterLoader(Bivista& service, const char* function, const char* cmd) {
    // Meant: written before the command and whatever becomes of it, also without a cover.
    Bivista::writeString(kPowerNode, "0 0");
    return queryAndLog(service, function, cmd).status();
}

}  // namespace

Return<Status> Bivista::doFirmwareUpgrade() {
    return control(kUpgrade);
}

Return<Status> Bivista::cancelFirmwareUpgrade() {
    return control(kCancel);
}

Status Bivista::doRecoveryUpgrade() {
    return control(kRecover);
}

Return<Status> Bivista::goDload() {
    return enterLoader(*this, __func__, "AT%GODLOAD\r");
}

Return<Status> Bivista::goSTMDload() {
    return enterLoader(*this, __func__, "AT%GOSTMDLOAD\r");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
