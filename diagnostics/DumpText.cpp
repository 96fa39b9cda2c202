#include "diagnostics/DumpText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

// For a JSON string; nothing but these two needs an escape in a text that is spelled.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char character : text) {
        if (character == '"' || character == '\\') out += '\\';
        out += character;
    }
    return out;
}

std::string join(const std::vector<DumpRow>& rows) {
    std::string out;
    for (const DumpRow& row : rows) {
        if (!out.empty()) out += ',';
        out += row.json();
    }
    return out;
}

}  // namespace

std::string spelled(std::string_view bytes) {
    std::string out;
    for (const char byte : bytes) {
        if (byte >= 0x20 && byte <= 0x7E) {
            out += byte;
            continue;
        }
        char hex[sizeof("<0xFF>")];
        snprintf(hex, sizeof(hex), "<0x%02X>", static_cast<uint8_t>(byte));
        out += hex;
    }
    return out;
}

DumpRow& DumpRow::add(const char* name, std::string value, const char* quote) {
    mMembers.push_back({name, std::move(value), quote});
    return *this;
}

DumpRow& DumpRow::text(const char* name, std::string_view value) {
    return add(name, spelled(value), "\"");
}

DumpRow& DumpRow::flag(const char* name, bool value) {
    return add(name, value ? "true" : "false", "");
}

DumpRow& DumpRow::numbers(const char* name, const std::vector<int64_t>& values) {
    std::string list;
    for (const int64_t value : values) {
        if (!list.empty()) list += ',';
        list += std::to_string(value);
    }
    return add(name, '[' + list + ']', "");
}

DumpRow& DumpRow::unknown(const char* name) {
    return add(name, "null", "");
}

std::string DumpRow::json() const {
    std::string out;
    for (const Member& member : mMembers) {
        if (!out.empty()) out += ',';
        out += '"' + std::string(member.name) + "\":" + member.quote + escaped(member.value) +
               member.quote;
    }
    return '{' + out + '}';
}

std::string DumpRow::line() const {
    std::string out;
    for (const Member& member : mMembers) {
        if (!out.empty()) out += ' ';
        out += std::string(member.name) + '=' + member.value;
    }
    return out;
}

std::string DumpRow::table() const {
    size_t width = 0;
    for (const Member& member : mMembers) width = std::max(width, strlen(member.name));
    std::string out;
    for (const Member& member : mMembers) {
        const std::string name = member.name;
        out += "  " + name + std::string(width - name.size() + 2, ' ') + member.value + '\n';
    }
    return out;
}

void DumpText::add(const char* name, DumpRow row) {
    mSections.push_back({name, false, {std::move(row)}});
}

void DumpText::add(const char* name, std::vector<DumpRow> rows) {
    mSections.push_back({name, true, std::move(rows)});
}

std::string DumpText::json() const {
    std::string out;
    for (const Section& section : mSections) {
        if (!out.empty()) out += ',';
        const std::string rows = join(section.rows);
        out += '"' + std::string(section.name) + "\":" + (section.isList ? '[' + rows + ']' : rows);
    }
    return '{' + out + "}\n";
}

std::string DumpText::words() const {
    std::string out;
    for (const Section& section : mSections) {
        out += std::string(section.name) + ":\n";
        for (const DumpRow& row : section.rows) {
            out += section.isList ? "  " + row.line() + '\n' : row.table();
        }
    }
    return out;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
