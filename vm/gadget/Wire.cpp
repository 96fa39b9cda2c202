// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/gadget/Wire.h"

#include <initializer_list>

#include <linux/usb/ch9.h>

#include "emulator/phone/Error.h"

namespace gadget {

using phone::Error;

namespace {

constexpr uint32_t kSubmit = 1;
constexpr uint32_t kUnlink = 2;
constexpr uint32_t kSubmitAnswer = 3;
constexpr uint32_t kUnlinkAnswer = 4;

// Places in a header, in words.
enum Word { kCommand, kId, kDirection = 3, kEndpoint, kVictim, kLength, kPackets = 8, kSetup = 10 };
constexpr size_t kWordSize = 4;
constexpr size_t kHeaderSize = 48;

constexpr uint32_t kFromDevice = 1;
constexpr uint32_t kLastEndpoint = 15;
// How a transfer that is not isochronous says so; zero is the other way.
constexpr uint32_t kNoPackets = 0xFFFFFFFF;

uint32_t wordAt(std::string_view header, Word word) {
    uint32_t number = 0;
    for (const char byte : header.substr(word * kWordSize, kWordSize)) {
        number = number << 8 | static_cast<uint8_t>(byte);
    }
    return number;
}

void check(bool isRight, const char* what, uint32_t number) {
    if (!isRight) throw Error("no USB/IP: " + std::string(what) + " " + std::to_string(number));
}

// These numbers are little-endian, as all of USB.
Setup readSetup(std::string_view bytes) {
    const auto byte = [&](size_t at) { return static_cast<uint8_t>(bytes[at]); };
    const auto word = [&](size_t at) {
        return static_cast<uint16_t>(byte(at) | byte(at + 1) << 8);
    };
    return {byte(0), byte(1), word(2), word(4), word(6)};
}

// A request without data goes to the device, whatever it says.
void checkSetup(const Submit& submit) {
    const Setup& setup = submit.setup;
    const bool isRight =
            submit.length == 0 || (setup.type & USB_DIR_IN) == (submit.endpoint & USB_DIR_IN);
    check(isRight, "direction against that of request", setup.request);
    check(setup.length == submit.length, "length against that of request", setup.request);
}

Submit readSubmit(std::string_view header) {
    const uint32_t direction = wordAt(header, kDirection);
    const uint32_t endpoint = wordAt(header, kEndpoint);
    const uint32_t length = wordAt(header, kLength);
    const uint32_t packets = wordAt(header, kPackets);
    check(direction <= kFromDevice, "direction", direction);
    check(endpoint <= kLastEndpoint, "endpoint", endpoint);
    check(length <= kLongestTransfer, "transfer length", length);
    check(packets == 0 || packets == kNoPackets, "isochronous packets", packets);
    Submit submit = {.id = wordAt(header, kId), .length = length, .setup = {}, .data = {}};
    submit.endpoint =
            static_cast<uint8_t>(endpoint | (direction == kFromDevice ? USB_DIR_IN : USB_DIR_OUT));
    if (endpoint != 0) return submit;
    submit.setup = readSetup(header.substr(kSetup * kWordSize));
    checkSetup(submit);
    return submit;
}

// A header with these words at its begin or after the addresses, which an answer leaves empty.
std::string makeHeader(uint32_t command, uint32_t id, uint32_t status, uint32_t passed) {
    std::string header;
    for (const uint32_t word : {command, id, 0U, 0U, 0U, status, passed}) {
        for (int shift = 24; shift >= 0; shift -= 8) header += static_cast<char>(word >> shift);
    }
    header.resize(kHeaderSize);
    return header;
}

}  // namespace

std::optional<Command> CommandReader::next() {
    if (mBytes.size() < kHeaderSize) return std::nullopt;
    const std::string_view header = std::string_view(mBytes).substr(0, kHeaderSize);
    const uint32_t command = wordAt(header, kCommand);
    check(command == kSubmit || command == kUnlink, "command", command);
    if (command == kUnlink) {
        const Unlink unlink = {.id = wordAt(header, kId), .victim = wordAt(header, kVictim)};
        mBytes.erase(0, kHeaderSize);
        return unlink;
    }
    Submit submit = readSubmit(header);
    const size_t size = (submit.endpoint & USB_DIR_IN) == 0 ? submit.length : 0;
    if (mBytes.size() - kHeaderSize < size) return std::nullopt;
    submit.data = mBytes.substr(kHeaderSize, size);
    mBytes.erase(0, kHeaderSize + size);
    return submit;
}

std::string toSubmitAnswer(uint32_t id, int status, size_t passed, std::string_view data) {
    return makeHeader(kSubmitAnswer, id, static_cast<uint32_t>(status),
                      static_cast<uint32_t>(passed))
            .append(data);
}

std::string toUnlinkAnswer(uint32_t id, int status) {
    return makeHeader(kUnlinkAnswer, id, static_cast<uint32_t>(status), 0);
}

}  // namespace gadget
