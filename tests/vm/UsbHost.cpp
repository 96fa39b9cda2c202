// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/vm/UsbHost.h"

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace gadget {
namespace {

constexpr size_t kHeaderSize = 48;

uint32_t wordAt(const std::string& bytes, size_t at) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return number;
}

}  // namespace

std::string bytesOf(const std::string& hex) {
    std::istringstream in(hex);
    std::string bytes;
    for (int byte = 0; in >> std::hex >> byte;) bytes += static_cast<char>(byte);
    return bytes;
}

std::string hexOf(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        char text[4];
        snprintf(text, sizeof(text), "%s%02x", hex.empty() ? "" : " ", static_cast<uint8_t>(byte));
        hex += text;
    }
    return hex;
}

std::string wordOf(uint32_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
    return bytes;
}

phone::DeviceDescription cover() {
    phone::DeviceDescription description;
    description.identity = {0x3E91, 0x6A2F, "TQC330R", "BV33021030001"};
    description.tty = 0;
    description.hidraw = 0;
    return description;
}

phone::DeviceDescription loader() {
    phone::DeviceDescription description;
    description.identity = {0x0483, 0xDF11, "TQC330R", "00000000001B"};
    return description;
}

std::ostream& operator<<(std::ostream& out, const UsbAnswer& answer) {
    return out << (answer.isUnlink ? "unlink " : "submit ") << answer.id << " status "
               << answer.status << " passed " << answer.passed << " [" << hexOf(answer.data) << "]";
}

UsbAnswer done(uint32_t id, uint32_t passed) {
    return {.id = id, .passed = passed};
}

UsbAnswer fetched(uint32_t id, const std::string& data) {
    return {.id = id, .passed = static_cast<uint32_t>(data.size()), .data = data};
}

UsbAnswer failed(uint32_t id, int error) {
    return {.id = id, .status = -error};
}

UsbAnswer unlinked(uint32_t id, int error) {
    return {.isUnlink = true, .id = id, .status = -error};
}

UsbHost::UsbHost(const phone::DeviceDescription& description, Pieces pieces)
    : mDevice(description), mPieces(pieces) {}

uint32_t UsbHost::ask(const std::string& setup, uint16_t length) {
    const std::string size = {static_cast<char>(length), static_cast<char>(length >> 8)};
    return submit(0, true, length, bytesOf(setup) + size, {});
}

uint32_t UsbHost::tell(const std::string& setup, const std::string& data) {
    const std::string size = {static_cast<char>(data.size()), static_cast<char>(data.size() >> 8)};
    return submit(0, false, static_cast<uint32_t>(data.size()), bytesOf(setup) + size, data);
}

uint32_t UsbHost::fetch(int endpoint, uint32_t length) {
    return submit(endpoint, true, length, std::string(8, '\0'), {});
}

uint32_t UsbHost::write(int endpoint, const std::string& data) {
    return submit(endpoint, false, static_cast<uint32_t>(data.size()), std::string(8, '\0'), data);
}

uint32_t UsbHost::unlink(uint32_t victim) {
    const uint32_t id = ++mLastId;
    std::string command = wordOf(2) + wordOf(id) + wordOf(1) + wordOf(0) + wordOf(0);
    command += wordOf(victim);
    command.resize(kHeaderSize);
    deliver(command);
    return id;
}

uint32_t UsbHost::submit(int endpoint, bool isIn, uint32_t length, const std::string& setup,
                         const std::string& data) {
    const uint32_t id = ++mLastId;
    if (isIn) mIn.insert(id);
    std::string command = wordOf(1) + wordOf(id) + wordOf(1) + wordOf(isIn ? 1 : 0);
    command += wordOf(static_cast<uint32_t>(endpoint));
    command += wordOf(0x200) + wordOf(length) + wordOf(0) + wordOf(0) + wordOf(8);
    deliver(command + setup + data);
    return id;
}

void UsbHost::deliver(const std::string& command) {
    switch (mPieces) {
        case Pieces::Commands:
            mDevice.receive(command);
            break;
        case Pieces::One:
            mHeld += command;
            break;
        case Pieces::Bytes:
            for (const char byte : command) mDevice.receive({&byte, 1});
            break;
    }
}

void UsbHost::flush() {
    mDevice.receive(std::exchange(mHeld, {}));
}

std::vector<Event> UsbHost::events() {
    flush();
    return mDevice.takeEvents();
}

std::vector<UsbAnswer> UsbHost::answers() {
    flush();
    const std::string bytes = mDevice.takeOutput();
    std::vector<UsbAnswer> answers;
    for (size_t at = 0; at < bytes.size(); at += kHeaderSize) {
        UsbAnswer answer = {.isUnlink = wordAt(bytes, at) == 4, .id = wordAt(bytes, at + 4)};
        answer.status = static_cast<int>(wordAt(bytes, at + 20));
        answer.passed = wordAt(bytes, at + 24);
        if (!answer.isUnlink && mIn.count(answer.id) != 0) {
            answer.data = bytes.substr(at + kHeaderSize, answer.passed);
            if (answer.data.size() != answer.passed) throw std::runtime_error("data are missing");
            at += answer.passed;
        }
        answers.push_back(std::move(answer));
    }
    return answers;
}

std::string UsbHost::askNow(const std::string& setup, uint16_t length) {
    const uint32_t id = ask(setup, length);
    const std::vector<UsbAnswer> came = answers();
    if (came == std::vector{failed(id, EPIPE)}) return "stalled";
    if (came.size() != 1 || came[0].id != id || came[0].status != 0) return "no answer of its own";
    return hexOf(came[0].data);
}

bool UsbHost::tellNow(const std::string& setup, const std::string& data) {
    const uint32_t id = tell(setup, data);
    const std::vector<UsbAnswer> came = answers();
    if (came == std::vector{done(id, static_cast<uint32_t>(data.size()))}) return true;
    if (came == std::vector{failed(id, EPIPE)}) return false;
    throw std::runtime_error("no answer of its own");
}

}  // namespace gadget
