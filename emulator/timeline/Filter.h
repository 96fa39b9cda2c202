// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What somebody wants to see of the journal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/timeline/Item.h"

namespace timeline {

// The words for kinds: those of entries and of items, and the lanes' names.
const std::vector<std::string>& kindWords();

struct Filter {
    // Of kindWords(). A word for an item stands for its entries too, and the other way round. None:
    // all but what isBackground().
    std::vector<std::string> kinds;
    std::string text;                      // in it, in either case of its letters
    std::optional<int64_t> sinceWallUs{};  // over no earlier than that, or not yet

    bool isEmpty() const { return kinds.empty() && text.empty() && !sinceWallUs; }
    // `text` in title, detail or verdict.
    bool takes(const Item& item) const;
    // `text` in path, bytes or note, spelt as in the journal. Opens and closes too.
    bool takes(const phone::Entry& entry) const;

  private:
    bool takesTexts(std::initializer_list<std::string_view> texts) const;
};

}  // namespace timeline
