// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/firmware/FirmwareChoice.h"

#include <cstring>
#include <utility>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

std::string cutAt(const char* text, char sign) {
    const char* end = strchr(text, sign);
    return end == nullptr ? std::string(text) : std::string(text, end);
}

bool isImage(const char* name) {
    const char* extension = strrchr(name, '.');
    return extension != nullptr && strcmp(extension, ".dfu") == 0;
}

}  // namespace

FirmwareChoice::FirmwareChoice(const char* version, char* selected)
    : mLine(cutAt(version, '-')), mSelected(selected) {}

FirmwareChoice::Verdict FirmwareChoice::take(const char* name) {
    if (!isImage(name)) return Verdict::kNoImage;
    const size_t length = strlen(name);
    if (length >= kCapacity) return Verdict::kTooLong;
    if (cutAt(name, '-') != mLine) {
        mLastMismatch = name;
        return Verdict::kMismatch;
    }
    const std::string key = cutAt(name, '_');
    // Meant: quirk key-compared-by-one-length.
    if (mHasSelection && strncmp(key.c_str(), mSelectedKey.c_str(), key.size()) <= 0) {
        return Verdict::kNotNewer;
    }
    // Meant: quirk tail-of-a-longer-name.
    memcpy(mSelected, name, length);
    mSelectedKey = key;
    return std::exchange(mHasSelection, true) ? Verdict::kNewer : Verdict::kFirst;
}

bool isNewerThanCover(char* selected, const char* version) {
    const std::string coverKey = cutAt(version, '_');
    selected[strcspn(selected, "_")] = '\0';
    // Meant: quirk key-compared-by-one-length.
    if (strncmp(selected, coverKey.c_str(), coverKey.size()) <= 0) return false;
    // Meant: quirk sign-at-the-cover-length.
    selected[coverKey.size()] = '_';
    return true;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
