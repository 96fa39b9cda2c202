#include "tools/text/Text.h"

#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "cli/Colour.h"

namespace bivistactl {
namespace {

constexpr const char* kControlNames[32] = {"NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL",
                                           "BS",  "HT",  "LF",  "VT",  "FF",  "CR",  "SO",  "SI",
                                           "DLE", "DC1", "DC2", "DC3", "DC4", "NAK", "SYN", "ETB",
                                           "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",  "US"};

uint8_t byteAt(std::string_view bytes, size_t at) {
    return static_cast<uint8_t>(bytes[at]);
}

bool isContinuation(uint8_t byte) {
    return (byte & 0xc0) == 0x80;
}

std::string spellByte(uint8_t byte) {
    if (byte < 32) return std::string("<") + kControlNames[byte] + ">";
    if (byte == 0x7f) return "<DEL>";
    char spelled[8];
    snprintf(spelled, sizeof(spelled), "<0x%02x>", byte);
    return spelled;
}

// U+0080 to U+009F, which some terminals obey.
bool isC1Control(std::string_view sequence) {
    return sequence.size() == 2 && byteAt(sequence, 0) == 0xc2 && byteAt(sequence, 1) < 0xa0;
}

}  // namespace

size_t utf8Length(std::string_view bytes) {
    if (bytes.empty()) return 0;
    const uint8_t first = byteAt(bytes, 0);
    if (first < 0x80) return 1;
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    // 0xc0 and 0xc1 would be overlong, 0xf5 and above beyond U+10FFFF.
    if (first < 0xc2 || first > 0xf4 || bytes.size() < length) return 0;
    for (size_t i = 1; i < length; ++i) {
        if (!isContinuation(byteAt(bytes, i))) return 0;
    }
    const uint8_t second = byteAt(bytes, 1);
    if (first == 0xe0 && second < 0xa0) return 0;   // overlong
    if (first == 0xed && second >= 0xa0) return 0;  // half a surrogate pair
    if (first == 0xf0 && second < 0x90) return 0;   // overlong
    if (first == 0xf4 && second >= 0x90) return 0;  // beyond U+10FFFF
    return length;
}

std::optional<std::u32string> decodeUtf8(std::string_view text) {
    std::u32string characters;
    while (!text.empty()) {
        const size_t length = utf8Length(text);
        if (length == 0) return std::nullopt;
        // The first of n bytes tells n by n ones and a zero; a single byte is all value.
        char32_t character = length == 1 ? byteAt(text, 0) : byteAt(text, 0) & (0x7fu >> length);
        for (size_t i = 1; i < length; ++i) character = character << 6 | (byteAt(text, i) & 0x3fu);
        characters.push_back(character);
        text.remove_prefix(length);
    }
    return characters;
}

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

std::string spellControls(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const uint8_t first = byteAt(bytes, 0);
        size_t length = utf8Length(bytes);
        if (bytes == "\n") {
            text += '\n';
        } else if (length == 0 || first < 32 || first == 0x7f) {
            text += spellByte(first);
            length = 1;
        } else if (isC1Control(bytes.substr(0, length))) {
            text += spellByte(byteAt(bytes, 1));
        } else {
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(length);
    }
    return text;
}

std::string row(const std::string& name, const std::string& text) {
    return cli::inColour(cli::Colour::NAME, name, STDOUT_FILENO) +
           std::string(14 - name.size(), ' ') + text + "\n";
}

}  // namespace bivistactl
