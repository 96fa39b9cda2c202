// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the reader makes out of single values of a scenario's file. All throw Wrong.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "emulator/play/Document.h"
#include "emulator/play/Scenario.h"

namespace play {

class Values {
  public:
    explicit Values(const std::filesystem::path& file) : mFile(file) {}

    [[noreturn]] void refuse(const Value& value, const std::string& what) const;
    // That the word is none of the known ones; `what` says what these are: "step".
    [[noreturn]] void refuseWord(const Value& word, const std::string& what,
                                 const std::vector<std::string>& known) const;
    // The map's keys are among the known ones.
    void requireKeys(const Value& map, const std::string& what,
                     const std::vector<std::string>& known) const;
    // The only key of a map.
    const Value& onlyKey(const Value& map, const std::string& what) const;

    const std::filesystem::path& file() const { return mFile; }

    // `name` is how a message calls the value.
    const std::string& text(const Value& value, const std::string& name) const;
    std::string line(const Value& value, const std::string& name) const;  // one, not empty
    bool flag(const Value& value, const std::string& name) const;
    int number(const Value& value, const std::string& name, int least, int most) const;
    Milliseconds time(const Value& value, const std::string& name) const;
    std::vector<std::string> words(const Value& value, const std::string& name) const;
    // One of these words.
    std::string word(const Value& value, const std::string& name,
                     const std::vector<std::string>& known) const;

    // A text, or a map of "contains" or "matches".
    Pattern pattern(const Value& value, const std::string& name) const;
    // The same for what entries hold: as they spell bytes.
    Pattern spelt(const Value& value, const std::string& name) const;

    // Texts without quotes are numbers, true and false where they look like it.
    Json json(const Value& value) const;

  private:
    std::string spelling(const Value& value, const std::string& text) const;

    const std::filesystem::path mFile;
};

// The values of a list, or one value that is none.
std::vector<const Value*> each(const Value& value);

}  // namespace play
