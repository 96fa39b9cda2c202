// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Sections.h"

#include <algorithm>
#include <charconv>

namespace phonelog {

namespace {

constexpr size_t npos = std::string_view::npos;
constexpr std::string_view kHeading = "------ ";
constexpr std::string_view kBuffer = "--------- ";

bool isOctal(char sign) {
    return sign >= '0' && sign <= '7';
}

// The byte that an escape stands for, and how many characters the escape has after its backslash.
struct Escape {
    char byte = '\\';
    size_t size = 0;
};

Escape readEscape(std::string_view text) {
    constexpr std::string_view kLetters = "abvfr\\";
    constexpr std::string_view kBytes = "\a\b\v\f\r\\";
    if (text.empty()) return {};
    if (const size_t at = kLetters.find(text.front()); at != npos) return {kBytes[at], 1};
    size_t size = 0;
    int byte = 0;
    for (; size < 3 && size < text.size() && isOctal(text[size]); ++size) {
        byte = byte * 8 + (text[size] - '0');
    }
    if (size == 0) return {};
    return {static_cast<char>(byte), size};
}

}  // namespace

bool Sections::take(size_t number, std::string_view line) {
    // "--------- beginning of main", "--------- switch to system"
    if (line.starts_with(kBuffer)) return true;
    if (line.starts_with(kHeading)) {
        takeHeading(line);
        return true;
    }
    if (mIsKernel) takeKernelLine(number, line);
    return !mIsLog;
}

// "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------", and at its end
// "------ 1.234s was the duration of 'SYSTEM LOG' ------".
void Sections::takeHeading(std::string_view line) {
    const bool isEnd = line.find("was the duration of") != npos;
    // That of the boot before is another section.
    mIsLog = !isEnd && line.starts_with("------ SYSTEM LOG");
    mIsKernel = !isEnd && line.starts_with("------ KERNEL LOG");
    mIsEscaped = mIsLog && line.find("printable") != npos;
}

void Sections::takeKernelLine(size_t number, std::string_view line) {
    if (mHasKernelLines || line.find("Bivista: ") == npos) return;
    mHasKernelLines = true;
    mRemarks.push_back({number,
                        "the kernel's log has lines of the cover: they are left out, since "
                        "they are in the service's log, too"});
}

Chatty parseChatty(std::string_view text) {
    for (const std::string_view word : {" identical ", " expire "}) {
        const size_t at = text.rfind(word);
        if (at == npos) continue;
        Chatty chatty;
        const std::string_view count = text.substr(at + word.size());
        const auto [end, error] =
                std::from_chars(count.data(), count.data() + count.size(), chatty.count);
        // More than a log of this service can hold is no count.
        if (error != std::errc() || chatty.count > kMostLines) return {};
        chatty.isIdentical = word == " identical ";
        return chatty;
    }
    return {};
}

std::string unescapePrintable(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const size_t at = std::min(text.find('\\'), text.size());
        plain += text.substr(0, at);
        text.remove_prefix(at);
        if (text.empty()) break;
        const Escape escape = readEscape(text.substr(1));
        plain += escape.byte;
        text.remove_prefix(1 + escape.size);
    }
    return plain;
}

}  // namespace phonelog
