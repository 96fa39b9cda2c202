// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Chooses among the names of firmware images. Reads no folder and asks no cover.
//
// Versions and names look like "LINE-KEY_rest": the text before the first "-" is the hardware line,
// the text before the first "_" the version key. In a text without the sign, each is the whole
// text. Keys compare as bytes, so "AB-10" comes before "AB-9".
#pragma once

#include <cstddef>
#include <string>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class FirmwareChoice {
  public:
    enum class Verdict {
        kNoImage,   // its last extension is not ".dfu"
        kTooLong,   // no room for it: the choice is over
        kMismatch,  // an image of another hardware line
        kFirst,     // selected, the first of the cover's line
        kNewer,     // selected instead of an older one
        kNotNewer,  // not selected
    };

    // Size of a name's buffer, its NUL included.
    static constexpr size_t kCapacity = 1024;

    // `version` is the cover's. `selected` holds kCapacity zero bytes, outlives this object, and
    // takes the name of the selected image.
    FirmwareChoice(const char* version, char* selected);

    // Looks at the next file name, in the order in which the folder gives them.
    Verdict take(const char* name);

    bool hasSelection() const { return mHasSelection; }
    // The last image of another hardware line, empty when there was none.
    const std::string& lastMismatch() const { return mLastMismatch; }

  private:
    const std::string mLine;
    char* const mSelected;
    bool mHasSelection = false;
    std::string mSelectedKey;
    std::string mLastMismatch;
};

// Cuts the selected name to its version key. Returns whether that is newer than the key of the
// cover's version; if so, puts a "_" back where the cover's key ends. Both texts are shorter than
// kCapacity; `selected` holds kCapacity + 1 bytes, zero after its text.
bool isNewerThanCover(char* selected, const char* version);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
