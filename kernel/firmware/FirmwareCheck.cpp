// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's firmware version, and whether the phone brings a newer image along.

#include <cstdio>
#include <cstring>
#include <memory>

#include <dirent.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/firmware/FirmwareChoice.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kVersionCommand[] = "AT%SWV\r";
constexpr char kFirmwareFolder[] = "/system_ext/etc/dfu";

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

// Why no image is chosen.
Status fail(const char* cause) {
    sStatistics.recordFailure("checkFirmwareVersion", cause);
    return Status::FAIL;
}

template <size_t kSize>
void keep(char (&path)[kSize], const char* name) {
    snprintf(path, kSize, "%s", name);
}

}  // namespace

Return<void> Bivista::getFirmwareVersion(getFirmwareVersion_cb cb) {
    const AtQuery<> query = queryAndLog(*this, __func__, kVersionCommand);
    cb(query.status(), query.failed() ? "" : query.text());
    return Void();
}

Return<void> Bivista::getFirmwareFile(getFirmwareFile_cb cb) {
    LOG_DEBUG("%s: mDfuFilePath = %s", __func__, mDfuFilePath);
    cb(Status::OK, mDfuFilePath);
    return Void();
}

Return<Status> Bivista::checkFirmwareVersion() {
    const AtQuery<> query = queryAndLog(*this, __func__, kVersionCommand);
    if (query.failed()) {
        LOG_DEBUG("%s: AT command failed", __func__);
        return Status::FAIL;
    }
    const char* version = query.text();
    if (strlen(version) >= FirmwareChoice::kCapacity) return fail("version too long");
    char selected[FirmwareChoice::kCapacity + 1] = {};
    const Status found = getDFUFile(kFirmwareFolder, version, selected);
    if (found != Status::OK) return found;

    // Meant: also without any image, so that no name of an earlier check is left.
    keep(mDfuFilePath, selected);
    const bool isNewer = isNewerThanCover(selected, version);
    if (!isNewer) {
        LOG_DEBUG("%s: dfu_prebuilt = %s", __func__, selected);
        LOG_DEBUG("%s: doFirmwareUpgrade not called", __func__);
        return Status::OK;
    }
    keep(mDfuFilePath, selected);
    LOG_DEBUG("%s: dfu_prebuilt = %s", __func__, selected);
    LOG_DEBUG("%s: doFirmwareUpgrade called", __func__);
    (void)doFirmwareUpgrade().isOk();
    // Meant: quirk started-upgrade-is-fail.
    return Status::FAIL;
}

Status Bivista::getDFUFile(const std::string& dir, const char* version, char* selected) {
    const Folder folder(opendir(dir.c_str()));
    if (folder == nullptr) {
        LOG_DEBUG("DIR open fail");
        return fail("DIR open fail");
    }
    FirmwareChoice choice(version, selected);
    while (const dirent* entry = readdir(folder.get())) {
        const char* name = entry->d_name;
        switch (choice.take(name)) {
            case FirmwareChoice::Verdict::kTooLong:
                return fail("name of an image too long");
            case FirmwareChoice::Verdict::kMismatch:
                LOG_ERROR("%s: BV: %s LOCAL: %s, firmware mismatch", __func__, version, name);
                break;
            case FirmwareChoice::Verdict::kFirst:
                LOG_DEBUG("%s: %s selected", __func__, name);
                break;
            case FirmwareChoice::Verdict::kNewer:
                LOG_DEBUG("%s: %s change selected", __func__, name);
                break;
            case FirmwareChoice::Verdict::kNoImage:
            case FirmwareChoice::Verdict::kNotNewer:
                break;
        }
    }
    // Meant: quirk no-image-is-no-failure.
    if (choice.hasSelection() || choice.lastMismatch().empty()) return Status::OK;
    LOG_ERROR("%s: There is no matching firmware", __func__);
    keep(mDfuFilePath, choice.lastMismatch().c_str());
    return fail("There is no matching firmware");
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
