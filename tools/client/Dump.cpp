// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's debug dump: how this program reads it, and which parts it understands.

#include "tools/client/Dump.h"

#include <android-base/unique_fd.h>
#include <cutils/native_handle.h>
#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <future>
#include <nlohmann/json.hpp>

#include "tools/ExitStatus.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::base::unique_fd;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

// How long a service may write nothing after it has answered, while it keeps the pipe open.
constexpr int kMostIdleSeconds = 5;

// The bytes that were read from a pipe.
struct Content {
    std::string text;
    bool hasNoEnd = false;

    bool isTooLong() const { return text.size() > kDumpLimit; }
};

// Reads until the last input is closed. A service writes its dump before it answers the call, so no
// writer begins after that. Closes the pipe at last, so that a slow writer is not held up.
Content readAll(const unique_fd output, const std::atomic<bool>& isAnswered) {
    Content content;
    int idleSeconds = 0;
    while (!content.isTooLong() && !content.hasNoEnd) {
        pollfd readable = {output.get(), POLLIN, 0};
        const int ready = poll(&readable, 1, 1000);
        if (ready == 0) {
            content.hasNoEnd = isAnswered && ++idleSeconds >= kMostIdleSeconds;
            continue;
        }
        idleSeconds = 0;
        char piece[4096];
        const ssize_t count = ready < 0 ? ready : read(output.get(), piece, sizeof(piece));
        if (count > 0) content.text.append(piece, static_cast<size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR)) break;
    }
    return content;
}

const Json* rowOf(const Json& rows, const char* key, const char* value) {
    if (!rows.is_array()) return nullptr;
    for (const Json& row : rows) {
        const Json* const name = memberOf(row, key);
        if (name != nullptr && name->is_string() && *name == value) return &row;
    }
    return nullptr;
}

// Of a list, its first one.
std::optional<int64_t> firstNumber(const Json* value) {
    if (value != nullptr && value->is_array() && !value->empty()) value = &value->front();
    return numberOf(value);
}

}  // namespace

std::string readDump(const sp<BivistaV1_0>& service, const std::vector<std::string>& options) {
    // The service writes into the input; readAll() reads from the output.
    unique_fd output;
    unique_fd input;
    if (!::android::base::Pipe(&output, &input)) {
        throw Failure(EXIT_NO_OUTPUT, std::string("cannot make a pipe: ") + strerror(errno));
    }
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    std::atomic<bool> isAnswered = false;
    auto reading =
            std::async(std::launch::async, readAll, std::move(output), std::cref(isAnswered));
    // On every path the input is closed before the wait for the reader, which waits for that.
    unique_fd writer = std::move(input);
    handle->data[0] = writer.get();
    const hidl_vec<hidl_string> words(options.begin(), options.end());
    const auto called = service->debug(hidl_handle(handle), words);
    writer.reset();
    isAnswered = true;
    const Content content = reading.get();
    requireDelivered(called);
    if (content.isTooLong()) {
        throw Failure(EXIT_ANSWERED_FAIL,
                      "the service's debug dump is longer than 1 MiB, and not read");
    }
    if (content.hasNoEnd) {
        throw Failure(EXIT_ANSWERED_FAIL, "the service began a dump and does not end it");
    }
    return content.text;
}

Dump Dump::unknown(const std::string& fault) {
    Dump dump("");
    dump.mFault = fault;
    return dump;
}

Dump::Dump(std::string_view text) : mSections(std::make_shared<Json>(parseShallow(text))) {
    if (text.empty()) {
        mFault = "the service has no debug dump";
    } else if (!mSections->is_object()) {
        mFault = "the service's debug dump cannot be understood";
    }
}

Dump Dump::of(const sp<BivistaV1_0>& service) {
    try {
        return Dump(readDump(service, {"--json"}));
    } catch (const Failure& failure) {
        if (failure.code != EXIT_ANSWERED_FAIL) throw;
        return unknown(failure.what());
    }
}

const Json* Dump::find(const DumpMember& member) const {
    const Json* section = memberOf(*mSections, member.section);
    if (section != nullptr && member.key != nullptr) {
        section = rowOf(*section, member.key, member.row);
    }
    return section == nullptr ? nullptr : memberOf(*section, member.name);
}

bool Dump::has(const DumpMember& member) const {
    return find(member) != nullptr;
}

std::optional<int64_t> Dump::number(const DumpMember& member) const {
    return firstNumber(find(member));
}

std::optional<bool> Dump::flag(const DumpMember& member) const {
    const Json* const value = find(member);
    if (value == nullptr || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> Dump::text(const DumpMember& member) const {
    return textOf(find(member));
}

std::vector<std::string> Dump::commandsWith(const char* number, const char* less) const {
    std::vector<std::string> names;
    const Json* const commands = memberOf(*mSections, "commands");
    if (commands == nullptr || !commands->is_array()) return names;
    for (const Json& command : *commands) {
        const Json* const name = memberOf(command, "name");
        int64_t value = numberOf(memberOf(command, number)).value_or(0);
        if (less != nullptr) value -= numberOf(memberOf(command, less)).value_or(0);
        if (value > 0 && name != nullptr && name->is_string()) names.push_back(*name);
    }
    return names;
}

}  // namespace bivistactl
