// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A phone's log that a test writes down, and what an import makes of it.
#pragma once

#include <string>
#include <vector>

#include "emulator/phonelog/Import.h"

namespace phonelog {

inline constexpr int kMain = 731;
inline constexpr int kNotify = 738;
inline constexpr int kBrightness = 745;

// Lines of the service, a millisecond from one to the next.
class Written {
  public:
    Written& line(int tid, char priority, const std::string& text);
    Written& d(const std::string& text) { return line(kMain, 'D', text); }
    Written& i(const std::string& text) { return line(kMain, 'I', text); }
    Written& e(const std::string& text) { return line(kMain, 'E', text); }
    // As it stands.
    Written& raw(const std::string& text);
    // A command and the lines of its answer, the blank line before them and the votes left out.
    Written& exchange(int tid, const std::string& command, const std::vector<std::string>& answer,
                      bool hasCallback = false);
    Written& start();
    // The cover comes, without its panel.
    Written& attach();

    const std::string& text() const { return mText; }
    size_t lines() const { return mLines; }

  private:
    std::string mText;
    size_t mLines = 0;
    int mMs = 0;
};

ServiceLog readText(const std::string& text, std::optional<int> pid = std::nullopt);
Imported importText(const std::string& text);

// "KIND PATH BYTES NOTE" of the entries of these kinds, spelt as in the journal, without what is
// empty.
std::vector<std::string> listEntries(const Imported& imported,
                                     const std::vector<phone::Kind>& kinds);
// "N: text" each, without those that every import has.
std::vector<std::string> listUnknown(const Imported& imported);
std::vector<std::string> listInferred(const Imported& imported);

}  // namespace phonelog
