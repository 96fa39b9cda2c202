// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Pictures that a scenario shows and expects.
#pragma once

#include <set>
#include <utility>

#include "emulator/play/ReaderValues.h"

namespace play {

// They must have a size that the panel has in the scenario. All throw Wrong.
class Pictures {
  public:
    explicit Pictures(const Values& values);

    // A request of the scenario changes the panel's size.
    void noteSize(const Json& change);

    // A PNG of the panel's levels.
    PicturePattern expected(const Value& value);
    // The words of drawSubDisplay that show the PNG.
    Json words(const Value& value);

  private:
    struct Levels {
        std::filesystem::path file;
        size_t width = 0;
        size_t height = 0;
        std::vector<uint8_t> levels;
    };

    Levels read(const Value& value, bool isExact);

    const Values& mValues;
    std::set<std::pair<size_t, size_t>> mSizes;
    std::pair<size_t, size_t> mLast;
    size_t mRead = 0;
};

}  // namespace play
