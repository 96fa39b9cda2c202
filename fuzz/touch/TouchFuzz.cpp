// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Plays the input as the cover's answer to a touch command: through the tty's lines and the answer
// into buffers of each size, then line by line as frames are logged.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "display/TouchFrame.h"
#include "kernel/serial/AtAnswer.h"

namespace {

using vendor::qmx::hardware::bivista::V1_1::implementation::AtAnswer;
using vendor::qmx::hardware::bivista::V1_1::implementation::kFrameLineLimit;
using vendor::qmx::hardware::bivista::V1_1::implementation::takeFrameLine;

constexpr char kCommand[] = "AT%TCHNOTIFY=SD\r";
// One read of the tty.
constexpr size_t kRead = 1023;

void require(bool condition) {
    if (!condition) std::abort();
}

// What one read gives: a line with its line feed, or as much of it as fits.
std::string takeRead(std::string_view& input) {
    const size_t end = input.find('\n');
    const size_t line = end == std::string_view::npos ? input.size() : end + 1;
    std::string read(input.substr(0, std::min(line, kRead)));
    input.remove_prefix(read.size());
    return read;
}

// The answer's text in a buffer of this capacity and one byte more. On the heap, where a byte too
// far is seen.
std::string answerIn(size_t capacity, std::string_view input) {
    std::vector<char> text(capacity + 1);
    AtAnswer answer(kCommand, text.data(), capacity);
    bool ended = false;
    while (!input.empty() && !ended) {
        const std::string line = takeRead(input);
        const AtAnswer::Line kind = answer.take(line.c_str(), line.size());
        ended = kind == AtAnswer::Line::kEnd;
        if (kind == AtAnswer::Line::kStray || kind == AtAnswer::Line::kContent) {
            answer.store(line.data(), line.size());
        }
    }
    // Without an end the port hung up, and the text stays as it is.
    if (ended) require(answer.finish() <= capacity);
    require(text.back() == '\0');
    return text.data();
}

void logFrame(std::string_view frame) {
    while (!frame.empty()) {
        const std::string_view before = frame;
        // A longer line ends the process, by design.
        if (std::min(frame.find('\n'), frame.size() - 1) >= kFrameLineLimit) return;
        const std::string_view line = takeFrameLine(&frame);
        require(!line.empty() && line.size() + frame.size() == before.size());
        require(line.find('\n') == std::string_view::npos || line.back() == '\n');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);
    // The tty drops them.
    std::erase(input, '\r');
    const std::string small = answerIn(1024, input);
    const std::string frame = answerIn(4096, input);
    const std::string results = answerIn(40960, input);
    require(small.size() <= 1024 && frame.size() <= 4096 && results.size() <= 40960);
    require(results.compare(0, std::min<size_t>(small.size(), 1000), small, 0, 1000) == 0);
    logFrame(frame);
    return 0;
}
