// The cover's firmware version, and whether the phone brings a newer one along.

#include <cstring>

#include "kernel/Bivista.h"
#include "kernel/firmware/FirmwareChoice.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kVersionCommand[] = "AT%SWV\r";
constexpr char kFirmwareFolder[] = "/system_ext/etc/dfu";

}  // namespace

Return<void> Bivista::getFirmwareVersion(getFirmwareVersion_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, kVersionCommand);
    cb(query.status(), query.failed() ? "" : query.text());
    return Void();
}

Return<Status> Bivista::checkFirmwareVersion() {
    const AtQuery<> query = queryAndLog(*this, __func__, kVersionCommand);
    if (query.failed()) {
        LOG_DEBUG("%s: AT command failed", __func__);
        return Status::FAIL;
    }
    const char* version = query.text();
    if (strlen(version) >= FirmwareChoice::kCapacity) return Status::FAIL;
    char selected[FirmwareChoice::kCapacity + 1] = {};
    const Status found = getDFUFile(kFirmwareFolder, version, selected);
    if (found != Status::OK) return found;

    // Meant: without any image the path becomes empty.
    keepFirmwareFile(selected);
    const bool isNewer = isNewerThanCover(selected, version);
    if (!isNewer) {
        LOG_DEBUG("%s: dfu_prebuilt = %s", __func__, selected);
        LOG_DEBUG("%s: doFirmwareUpgrade not called", __func__);
        return Status::OK;
    }
    keepFirmwareFile(selected);
    LOG_DEBUG("%s: dfu_prebuilt = %s", __func__, selected);
    LOG_DEBUG("%s: doFirmwareUpgrade called", __func__);
    (void)doFirmwareUpgrade().isOk();
    // Meant: a started upgrade is reported as FAIL.
    return Status::FAIL;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
