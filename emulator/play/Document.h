// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The file of a scenario as a tree of values that know their places. YAML without anchors, aliases
// and tags, which would make a small file large: they are refused.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "emulator/play/Scenario.h"

namespace play {

inline constexpr size_t kMostBytes = 1 << 20;
inline constexpr size_t kDeepest = 20;
inline constexpr size_t kMostKeys = 1000;  // of one map

struct Value {
    enum class Kind { Null, Text, List, Map };

    Place place;
    Kind kind = Kind::Null;
    std::string text;          // of a Text
    bool isPlain = false;      // a Text without quotes: it may be a number, true or false
    std::vector<Value> items;  // of a List; of a Map the values
    std::vector<Value> keys;   // of a Map: texts, all of them different

    const Value* find(const std::string& key) const;
};

// Throws Wrong: "FILE:LINE:COLUMN: what".
[[noreturn]] void refuse(const std::filesystem::path& file, Place place, const std::string& what);

// The file's bytes. Throws Wrong for a file that is none, cannot be read, or has more than
// kMostBytes: "FILE: what".
std::string load(const std::filesystem::path& file);

// Of one document of YAML, a map. `file` is for what is wrong, which is thrown.
Value parse(const std::string& bytes, const std::filesystem::path& file);

// In one line, as a flow of YAML without quotes.
std::string spell(const Value& value);

// A text of people in one line: control bytes are spelt, and what is too long ends with "...".
std::string cut(const std::string& text, size_t most = 100);

}  // namespace play
