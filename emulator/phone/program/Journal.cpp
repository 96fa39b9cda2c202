// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// ctl: the journal, and the kernel log in it.

#include <cstdint>
#include <string_view>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/Digest.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

constexpr int kJournalWaitMs = 30'000;

// Prints the journal to its end, or follows it until the emulator ends. `inWords` returns the text
// that is printed for an entry.
void print(Session& session, const Json& given, std::string (*inWords)(Json& entry)) {
    const bool follow = given.contains("follow");
    Json values = {{"since", given.value("since", uint64_t{1})}};
    if (follow) values["wait_ms"] = kJournalWaitMs;
    for (;;) {
        std::optional<Json> page = session.ask("GET", "/v1/journal", values);
        if (!page) return;
        Json& entries = page->at("entries");
        const auto next = page->at("next").get<uint64_t>();
        // Without progress, ctl would ask for the same page for ever.
        if (!entries.is_array() || (!entries.empty() && next <= values["since"])) {
            throw ForeignAnswer();
        }
        std::string text;
        for (Json& entry : entries) {
            if (!entry.is_object()) throw ForeignAnswer();
            text += inWords(entry);
        }
        cli::printOrFail(text);
        if (entries.empty() && !follow) return;
        values["since"] = next;
    }
}

std::string showRaw(Json& entry) {
    return entry.dump() + "\n";
}

// An entry as people can read it: length and digest in the place of many bytes.
std::string showShort(Json& entry) {
    const auto bytes = cover::unescape(entry.value("bytes", ""));
    if (!bytes || bytes->size() <= phone::kLongestShown) return showRaw(entry);
    Json shown = Json::object();
    for (const auto& [name, value] : entry.items()) {
        if (name == "bytes") {
            shown["length"] = bytes->size();
            shown["crc32"] = phone::crc32Of(*bytes);
        } else {
            shown[name] = value;
        }
    }
    return showRaw(shown);
}

std::string showMessage(Json& entry) {
    if (entry.at("kind") != "klog") return "";
    std::string message = cover::unescape(entry.value("bytes", "")).value_or("");
    // The message's own line end also ends the printed line.
    if (message.ends_with('\n')) message.pop_back();
    return cover::escape(message) + "\n";
}

// The service asks the cover for its log when this property begins with 1 or more.
constexpr char kCapture[] = "persist.vendor.qmx.service.kernel.enable";

// Prints why the kernel log may lack the cover's log. False when the emulator did not answer.
bool tellOfCapture(Session& session) {
    const std::optional<Json> list = session.ask("GET", "/v1/properties");
    if (!list) return false;
    const auto value = list->at("properties").value(kCapture, "0");
    if (value < "1") {
        cli::remark(kProgram,
                    std::string("the capture of the cover's log is off; \"bivista-emulator ctl "
                                "property ") +
                            kCapture + " 1\" and \"bivista-emulator ctl reattach\" switch it on");
    }
    return true;
}

}  // namespace

void readJournal(Session& session, const Json& given) {
    const bool isShort = !given.contains("raw") && isatty(STDOUT_FILENO) != 0;
    print(session, given, isShort ? showShort : showRaw);
}

void readKernelLog(Session& session, const Json& given) {
    if (tellOfCapture(session)) print(session, given, showMessage);
}

}  // namespace emulator
