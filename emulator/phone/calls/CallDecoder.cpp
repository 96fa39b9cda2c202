// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/calls/CallDecoder.h"

#include <algorithm>
#include <string>
#include <vector>

#include <hidl/HidlBinderSupport.h>

#include "emulator/phone/Digest.h"
#include "emulator/phone/calls/CallTable.h"

namespace calls {

namespace {

using android::hardware::Parcel;
using android::hardware::ParcelWords;

constexpr char kUnreadable[] = "unreadable";

// `words` as a Parcel that came in, without the objects.
void open(ParcelWords words, Parcel* parcel) {
    parcel->setContents({std::move(words), {}, {}});
}

// The texts as a JSON array, short for the memory and whole for the file.
void put(const std::vector<std::string>& texts, std::string* brief, std::string* whole) {
    for (const std::string& text : texts) {
        *brief += (brief->empty() ? "[" : ",") + phone::shorten(text);
        *whole += (whole->empty() ? "[" : ",") + text;
    }
    *brief += texts.empty() ? "[]" : "]";
    *whole += texts.empty() ? "[]" : "]";
}

void putResults(const Method& method, Parcel& reply, phone::Past* past) {
    android::hardware::Status status;
    std::vector<std::string> texts;
    // What is sent one way is not answered.
    if (reply.dataSize() == 0 && !method.hasResults) return;
    if (readFromParcel(&status, reply) != android::OK) {
        past->note = kUnreadable;
    } else if (!status.isOk()) {
        past->note = status.description();
    } else if (method.hasResults) {
        if (method.readResults(reply, &texts)) {
            put(texts, &past->note, &past->wholeNote);
        } else {
            past->note = kUnreadable;
        }
    }
}

}  // namespace

std::optional<phone::Past> decode(android::hardware::calls::CallRecord record) {
    Parcel request;
    Parcel reply;
    open(std::move(record.request), &request);
    open(std::move(record.reply), &reply);
    std::string descriptor;
    if (request.readText(&descriptor) != android::OK) return std::nullopt;
    const auto isOfInterface = [&](const Method& method) {
        return method.descriptor == descriptor;
    };
    const std::span<const Method> all = methods();
    const auto first = std::find_if(all.begin(), all.end(), isOfInterface);
    if (first == all.end()) return std::nullopt;
    const auto method = std::find_if(first, all.end(), [&](const Method& candidate) {
        return isOfInterface(candidate) && candidate.code == record.code;
    });
    const bool isKnown = method != all.end();
    // A client that serves something itself has recorded the same calls from its end.
    if (record.isOutgoing != descriptor.ends_with("Callback")) return std::nullopt;

    phone::Past past;
    past.kind = record.isOutgoing ? phone::Kind::ClientCallback : phone::Kind::ClientCall;
    past.begin = std::chrono::steady_clock::time_point(std::chrono::nanoseconds(record.beginNs));
    past.duration = std::chrono::nanoseconds(record.endNs - record.beginNs);
    past.path = descriptor.substr(descriptor.rfind(':') + 1) + "." +
                (isKnown ? method->name : std::to_string(record.code));
    std::vector<std::string> arguments;
    if (isKnown && method->readArguments(request, &arguments)) {
        put(arguments, &past.bytes, &past.wholeBytes);
    }
    if (record.status != android::OK) {
        past.note = android::statusToString(record.status);
    } else if (isKnown) {
        putResults(*method, reply, &past);
    } else {
        past.note = kUnreadable;
    }
    return past;
}

}  // namespace calls
