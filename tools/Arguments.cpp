#include "tools/Arguments.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <charconv>
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

std::string readWhole(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        throw BadArgument(quoted(path) + " is a folder, not a file of words");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw BadArgument(quoted(path) + " cannot be opened: " + strerror(errno));
    // One byte more than fits tells a file that is too long.
    std::string bytes(kMaxBytes + 1, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (file.bad()) throw BadArgument(quoted(path) + " cannot be read: " + strerror(errno));
    bytes.resize(static_cast<size_t>(file.gcount()));
    return bytes;
}

void requireRoom(const std::string& text, size_t bytes) {
    if (bytes <= kMaxBytes) return;
    throw BadArgument(quoted(text.substr(0, 60)) + " holds more than 1 MiB, which no call carries");
}

std::vector<uint32_t> parseFile(const std::string& path) {
    const std::string bytes = readWhole(path);
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

bool parseBool(const std::string& text) {
    if (text == "true") return true;
    if (text == "false") return false;
    throw BadArgument(quoted(text) + " is neither true nor false");
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

}  // namespace bivistactl
