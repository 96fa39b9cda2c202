// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The text of a debug dump, for people or as JSON: sections, each of one row or of a list of rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The text with every byte but the printable ones of ASCII spelled, as in "<0x1B>".
std::string spelled(std::string_view bytes);

struct DumpValue {
    // Not known at this moment.
    DumpValue(std::nullptr_t) : text("null") {}
    DumpValue(bool value) : text(value ? "true" : "false") {}
    template <typename T, typename = std::enable_if_t<std::is_integral_v<T>>>
    DumpValue(T value) : text(std::to_string(value)) {}
    DumpValue(const std::vector<int64_t>& values);
    DumpValue(const char* bytes) : text(spelled(bytes)), isQuoted(true) {}
    DumpValue(const std::string& bytes) : text(spelled(bytes)), isQuoted(true) {}

    std::string text;
    bool isQuoted = false;  // in JSON
};

// Names with their values. A name is a plain word, which JSON need not escape.
using DumpRow = std::vector<std::pair<std::string, DumpValue>>;

class DumpText {
  public:
    // As JSON the text is an object on one line, with a member for each section.
    explicit DumpText(bool isJson) : mIsJson(isJson) {}

    void add(const char* name, const DumpRow& row);
    void addList(const char* name, const std::vector<DumpRow>& rows);
    std::string text() const { return mIsJson ? '{' + mText + "}\n" : mText; }

  private:
    void addSection(const char* name, const std::string& text);

    const bool mIsJson;
    std::string mText;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
