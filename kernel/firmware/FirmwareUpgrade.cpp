// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Upgrades of the cover's firmware, which the kernel carries out, and the cover's two loaders.

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/base/CommandName.h"
#include "kernel/base/KernelNode.h"
#include "kernel/base/KernelPaths.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

struct Order {
    int32_t value;
    const char* name;
};
constexpr Order kCancel = {0, "CANCEL"};
constexpr Order kUpgrade = {1, "UPGRADE"};
constexpr Order kRecover = {6, "RECOVERY"};

Status control(const Order& order) {
    const bool accepted = node::writeInt32(kUpgradePath, order.value) == 0;
    sStatistics.countOrder(order.name, accepted);
    return accepted ? Status::OK : Status::FAIL;
}

Status enterLoader(Bivista& service, const char* function, const char* cmd) {
    // Meant: before the command and also without a cover, since a cover that enters its loader is
    // gone before anything could follow.
    node::writeString(kScreenPowerPath, "0 0");
    const Status status = queryAndLog(service, function, cmd).status();
    sStatistics.recordUpgrade(nameOfCommand(cmd), status == Status::OK);
    return status;
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
