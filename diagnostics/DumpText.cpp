// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/DumpText.h"

#include <algorithm>
#include <cstdio>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// In a spelled text only these two characters need an escape.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') out += '\\';
        out += character;
    }
    return out + '"';
}

std::string json(const DumpRow& row) {
    std::string out;
    for (const auto& [name, value] : row) {
        out += (out.empty() ? "" : ",") + quoted(name) + ':' +
               (value.isQuoted ? quoted(value.text) : value.text);
    }
    return '{' + out + '}';
}

// A line for each member, with the values below each other.
std::string table(const DumpRow& row) {
    size_t width = 0;
    for (const auto& [name, value] : row) width = std::max(width, name.size());
    std::string out;
    for (const auto& [name, value] : row) {
        out += "  " + name + std::string(width - name.size() + 2, ' ') + value.text + '\n';
    }
    return out;
}

std::string line(const DumpRow& row) {
    std::string out = " ";
    for (const auto& [name, value] : row) out += ' ' + name + '=' + value.text;
    return out + '\n';
}

}  // namespace

std::string spelled(std::string_view bytes) {
    std::string out;
    for (const char byte : bytes) {
        const bool isPrintable = byte >= 0x20 && byte <= 0x7E;
        char text[sizeof("<0xFF>")];
        snprintf(text, sizeof(text), isPrintable ? "%c" : "<0x%02X>", static_cast<uint8_t>(byte));
        out += text;
    }
    return out;
}

DumpValue::DumpValue(const std::vector<int64_t>& values) {
    for (const int64_t value : values) text += (text.empty() ? "" : ",") + std::to_string(value);
    text = '[' + text + ']';
}

void DumpText::addSection(const char* name, const std::string& text) {
    mText += mIsJson ? (mText.empty() ? "" : ",") + quoted(name) + ':' + text
                     : std::string(name) + ":\n" + text;
}

void DumpText::add(const char* name, const DumpRow& row) {
    addSection(name, mIsJson ? json(row) : table(row));
}

void DumpText::addList(const char* name, const std::vector<DumpRow>& rows) {
    std::string list;
    for (const DumpRow& row : rows) {
        list += mIsJson ? (list.empty() ? "" : ",") + json(row) : line(row);
    }
    addSection(name, mIsJson ? '[' + list + ']' : list);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
