// The folder of firmware images that the phone brings along.

#include <cstdio>
#include <memory>

#include <dirent.h>

#include "kernel/Bivista.h"
#include "kernel/firmware/FirmwareChoice.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

}  // namespace

Status Bivista::getDFUFile(const std::string& dir, const char* version, char* selected) {
    const Folder folder(opendir(dir.c_str()));
    if (folder == nullptr) {
        LOG_DEBUG("DIR open fail");
        return Status::FAIL;
    }
    FirmwareChoice choice(version, selected);
    while (const dirent* entry = readdir(folder.get())) {
        const char* name = entry->d_name;
        switch (choice.take(name)) {
            case FirmwareChoice::Verdict::kTooLong:
                return Status::FAIL;
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
    // Meant: a folder without any image is no failure.
    if (choice.hasSelection() || choice.lastMismatch().empty()) return Status::OK;
    LOG_ERROR("%s: There is no matching firmware", __func__);
    keepFirmwareFile(choice.lastMismatch().c_str());
    return Status::FAIL;
}

void Bivista::keepFirmwareFile(const char* name) {
    snprintf(mDfuFilePath, sizeof(mDfuFilePath), "%s", name);
}

Return<void> Bivista::getFirmwareFile(getFirmwareFile_cb cb) {
    LOG_DEBUG("%s: mDfuFilePath = %s", __func__, mDfuFilePath);
    cb(Status::OK, mDfuFilePath);
    return Void();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
