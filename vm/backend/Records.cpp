// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Records.h"

#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

#include "emulator/cover/Integers.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/world/SystemCalls.h"

namespace vm {

namespace {

constexpr std::string_view kKinds = "OWCXTURHhL";
// The longest record has 4,096 bytes written to a path of as many.
constexpr size_t kReadSize = 16384;

[[noreturn]] void refuse(std::string_view line) {
    throw phone::Error("the phone's drivers record something unknown: \"" + std::string(line) +
                       "\"");
}

// Takes the text before the next blank.
std::string_view takeField(std::string_view* rest) {
    const size_t end = rest->find(' ');
    const std::string_view field = rest->substr(0, end);
    rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
    return field;
}

// The next field of the line as a number.
template <typename Integer>
Integer takeNumber(std::string_view line, std::string_view* rest, int base = 10) {
    const auto value = cover::parseInteger<Integer>(takeField(rest), base);
    if (!value) refuse(line);
    return *value;
}

// As d_path() is printed: "\040" is a blank.
std::string unescapePath(std::string_view text) {
    std::string path;
    while (!text.empty()) {
        const bool isEscape = text[0] == '\\' && text.size() >= 4;
        const auto code =
                isEscape ? cover::parseInteger<uint8_t>(text.substr(1, 3), 8) : std::nullopt;
        path += code ? static_cast<char>(*code) : text[0];
        text.remove_prefix(code ? 4 : 1);
    }
    return path;
}

// "48616c" is "Hal", "-" is nothing.
std::string parseBytes(std::string_view line, std::string_view text) {
    std::string bytes;
    if (text == "-") return bytes;
    if (text.empty() || text.size() % 2 != 0) refuse(line);
    for (size_t at = 0; at < text.size(); at += 2) {
        const auto byte = cover::parseInteger<uint8_t>(text.substr(at, 2), 16);
        if (!byte) refuse(line);
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

}  // namespace

Record parseRecord(std::string_view line) {
    using Kind = Record::Kind;
    std::string_view rest = line;
    const std::string_view kind = takeField(&rest);
    if (kind.size() != 1 || kKinds.find(kind[0]) == std::string_view::npos) refuse(line);
    Record record;
    record.kind = static_cast<Kind>(kind[0]);
    record.process = takeNumber<pid_t>(line, &rest);
    record.begin = cover::Time(takeNumber<int64_t>(line, &rest));
    record.flags = static_cast<int>(takeNumber<uint32_t>(line, &rest, 16));
    record.path = unescapePath(takeField(&rest));
    if (record.path.empty()) refuse(line);
    switch (record.kind) {
        case Kind::Write:
            record.bytes = parseBytes(line, takeField(&rest));
            break;
        case Kind::HidOpen:
            record.number = takeNumber<int64_t>(line, &rest);
            record.duration = cover::Time(takeNumber<int64_t>(line, &rest));
            break;
        case Kind::Refused:
        case Kind::TtyRead:
        case Kind::Lost:
            record.number = takeNumber<int64_t>(line, &rest);
            break;
        default:
            break;
    }
    if (!rest.empty()) refuse(line);
    return record;
}

std::vector<Record> takeRecords(int driver) {
    std::vector<Record> records;
    std::string text(kReadSize, '\0');
    ssize_t count;
    while ((count = read(driver, text.data(), text.size())) > 0) {
        std::string_view lines(text.data(), static_cast<size_t>(count));
        while (!lines.empty()) {
            const size_t end = lines.find('\n');
            records.push_back(parseRecord(lines.substr(0, end)));
            lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
        }
    }
    if (count < 0 && errno != EAGAIN) phone::throwErrno("cannot read what the drivers record");
    return records;
}

std::string nameFlags(int flags) {
    return phone::OpenCall{.path = {}, .flags = flags}.nameFlags();
}

}  // namespace vm
