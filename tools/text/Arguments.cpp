// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Arguments.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>

namespace bivistactl {
namespace {

constexpr size_t kMaxBytes = 1 << 20;

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::optional<uint64_t> parseDigits(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t number = 0;
    const char* end = text.data() + text.size();
    auto [rest, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || rest != end) return std::nullopt;
    return number;
}

template <typename Integer>
Integer parseInteger(const std::string& text) {
    using Limits = std::numeric_limits<Integer>;
    const bool negative = text.starts_with('-');
    const uint64_t greatest = negative ? -static_cast<int64_t>(Limits::min()) : Limits::max();
    auto size = parseDigits(std::string_view(text).substr(negative ? 1 : 0));
    if (!size || *size > greatest) {
        throw BadArgument(quoted(text) + " is not an integer from " +
                          std::to_string(Limits::min()) + " to " + std::to_string(Limits::max()) +
                          ", decimal or 0x-hexadecimal");
    }
    return static_cast<Integer>(negative ? -static_cast<int64_t>(*size) : *size);
}

bool parseEither(const std::string& text, const char* yes, const char* no) {
    if (text == yes || text == no) return text == yes;
    throw BadArgument(quoted(text) + " is neither " + yes + " nor " + no);
}

void requireRoom(const std::string& text, size_t bytes) {
    if (bytes <= kMaxBytes) return;
    throw BadArgument(quoted(text.substr(0, 60)) + " holds more than 1 MiB, which no call carries");
}

std::vector<uint32_t> parseFile(const std::string& path) {
    const std::string bytes = readFile(path, kMaxBytes);
    requireRoom(path, bytes.size());
    if (bytes.size() % 4 != 0) {
        throw BadArgument(quoted(path) + " holds " + std::to_string(bytes.size()) +
                          " bytes, which is no whole number of 32-bit words");
    }
    std::vector<uint32_t> words;
    words.reserve(bytes.size() / 4);
    for (size_t at = 0; at < bytes.size(); at += 4) {
        uint32_t word = 0;
        for (size_t i = 4; i-- > 0;) word = word << 8 | static_cast<uint8_t>(bytes[at + i]);
        words.push_back(word);
    }
    return words;
}

std::vector<uint32_t> parseList(const std::string& text) {
    std::vector<uint32_t> words;
    if (text.empty()) return words;
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find(',', start), text.size());
        words.push_back(parseUint32(text.substr(start, end - start)));
        start = end + 1;
    }
    requireRoom(text, words.size() * sizeof(uint32_t));
    return words;
}

}  // namespace

int32_t parseInt32(const std::string& text) {
    return parseInteger<int32_t>(text);
}

uint32_t parseUint32(const std::string& text) {
    return parseInteger<uint32_t>(text);
}

int32_t parseLevel(const std::string& text) {
    const int32_t level = parseInt32(text);
    if (level >= 0 && level <= 255) return level;
    throw BadArgument(quoted(text) + " is not from 0 to 255");
}

bool parseBool(const std::string& text) {
    return parseEither(text, "true", "false");
}

bool parseSwitch(const std::string& text) {
    return parseEither(text, "on", "off");
}

std::vector<uint32_t> parseWords(const std::string& text) {
    return text.starts_with('@') ? parseFile(text.substr(1)) : parseList(text);
}

void parseNull(const std::string& text) {
    if (text == "null") return;
    throw BadArgument(quoted(text) +
                      " is not null, the only callback that can be given here. To receive calls, "
                      "use \"bivistactl watch lpwg\", \"bivistactl watch sub\" or "
                      "\"bivistactl at CMD\"");
}

std::string readFile(const std::string& path, size_t limit) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw BadArgument("\"" + path + "\" is a folder, not a file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw BadArgument("\"" + path + "\" cannot be opened: " + strerror(errno));
    std::string bytes;
    char buffer[1 << 16];
    while (bytes.size() <= limit) {
        file.read(buffer, std::min(sizeof(buffer), limit + 1 - bytes.size()));
        if (file.bad()) throw BadArgument("\"" + path + "\" cannot be read: " + strerror(errno));
        if (file.gcount() == 0) break;
        bytes.append(buffer, static_cast<size_t>(file.gcount()));
    }
    return bytes;
}

}  // namespace bivistactl
