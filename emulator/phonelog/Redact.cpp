// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Redact.h"

#include <algorithm>
#include <cctype>
#include <set>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "emulator/phonelog/CallTable.h"

namespace phonelog {

using phone::Entry;
using phone::Kind;

namespace {

using Json = recording::Json;

// Commands of the service itself, and words of the cover: they are the same for all.
constexpr std::string_view kCommands[] = {
        "ATE0",       "AT%SWV",        "AT%MODEL=DCM", "AT%GETBVCUTOUT", "AT%LOGSAVE=",
        "AT%BV=",     "AT%HPD",        "AT%DB=",       "AT%PRGB=",       "AT%SHS=",
        "AT%SMODE=",  "AT%TCPERF=",    "AT%TCHDEBUG=", "AT%TCHNOTIFY=",  "AT%TCHUPDATE=",
        "AT%GODLOAD", "AT%GOSTMDLOAD",
};
constexpr std::string_view kWords[] = {"", "OK", "ERROR", "On", "Off"};
constexpr std::string_view kEvents[] = {"WAKEUP",           "BV_PEN_WAKEUP",   "BV_PEN_WAKEUP_BTN",
                                        "BV_PEN_DETECTION", "SWITCH_AES_BOTH", "SWITCH_AES_TO_1",
                                        "SWITCH_AES_TO_2",  "BV_UPDATE_STATE"};
constexpr std::string_view kEventStrings[] = {
        "", "change@/devices/virtual/bivista/bv2", "ACTION=change",
        "DEVPATH=/devices/virtual/bivista/bv2", "SUBSYSTEM=QMX_BV2"};
constexpr std::string_view kLoaders[] = {"TQC330R",      "TQA110R",      "TQB220R",
                                         "00000000001A", "00000000001B", "0483:df11"};
// Methods whose results, or first argument, hold a text of the cover or of a client.
constexpr std::string_view kTexts[] = {
        "IBivista.sendAtCommand",
        "IBivista.getTouchFirmwareVersion",
        "IBivista.getGpiopin",
        "IBivista.getSelfTest",
        "IBivista.getLPWGSelfTest",
        "IBivista.getCoverDisplayCutout",
        "IBivistaAtCallback.onAtResponse",
};

bool isIn(const auto& list, std::string_view text) {
    return std::ranges::find(list, text) != std::end(list);
}

std::string mask(std::string_view text) {
    std::string masked;
    for (const char sign : text) {
        const auto byte = static_cast<unsigned char>(sign);
        if (std::isalpha(byte) != 0)
            masked += 'x';
        else if (std::isdigit(byte) != 0)
            masked += '0';
        else
            masked += std::isprint(byte) != 0 || std::isspace(byte) != 0 ? sign : '?';
    }
    return masked;
}

// Applies `one` to what stands between the separators.
template <typename One>
std::string each(std::string_view text, std::string_view separator, One one) {
    std::string result;
    for (;;) {
        const size_t end = std::min(text.find(separator), text.size());
        result += one(text.substr(0, end));
        if (end == text.size()) return result;
        result += separator;
        text.remove_prefix(end + separator.size());
    }
}

class Redaction {
  public:
    explicit Redaction(recording::Recording& recording) : mRecording(recording) {}

    void run();

  private:
    void keepVersions();
    void apply(Entry& entry);
    void applyCall(Entry& entry);
    static void applyAttach(Entry& entry);
    std::string line(std::string_view text);
    std::string eventString(std::string_view text);

    recording::Recording& mRecording;
    std::set<std::string, std::less<>> mVersions;
};

// The service compares the answers to AT%SWV with the names of images: they stay.
void Redaction::keepVersions() {
    bool isAsked = false;
    for (const Entry& entry : mRecording.entries) {
        if (entry.kind == Kind::TtyRx) isAsked = entry.bytes == "AT%SWV\r";
        if (entry.kind != Kind::TtyTx || !isAsked) continue;
        each(entry.bytes, "\r\n", [this, &isAsked](std::string_view text) {
            if (isAsked) mVersions.emplace(text);
            // What the cover says after its answer is its log.
            if (text == "OK" || text == "ERROR") isAsked = false;
            return "";
        });
    }
}

std::string Redaction::line(std::string_view text) {
    if (isIn(kWords, text) || mVersions.contains(text)) return std::string(text);
    // The echo of a command.
    if (text.ends_with('\r')) return maskCommand(text.substr(0, text.size() - 1)) + '\r';
    return mask(text);
}

std::string Redaction::eventString(std::string_view text) {
    constexpr std::string_view kKey = "TOUCH_GESTURE_WAKEUP=";
    if (isIn(kEventStrings, text)) return std::string(text);
    if (!text.starts_with(kKey)) return mask(text);
    const std::string_view name = text.substr(kKey.size());
    return std::string(kKey) + (isIn(kEvents, name) ? std::string(name) : mask(name));
}

void Redaction::applyCall(Entry& entry) {
    if (!isIn(kTexts, entry.path)) return;
    const bool isPassThrough = entry.path == "IBivista.sendAtCommand";
    const auto lines = [this](const std::string& escaped) {
        const std::string text = cover::unescape(escaped).value_or(escaped);
        return cover::escape(
                each(text, "\n", [this](std::string_view part) { return line(part); }));
    };
    Json arguments = Json::parse(entry.bytes);
    if (isPassThrough) {
        const std::string text = arguments[0];
        arguments[0] = cover::escape(maskCommand(cover::unescape(text).value_or(text)));
    } else if (entry.kind == Kind::ClientCallback) {
        arguments[0] = lines(arguments[0]);
    }
    entry.bytes = arguments.dump();
    if (entry.note.empty()) return;
    Json results = Json::parse(entry.note);
    if (results.size() > 1) results[1] = lines(results[1]);
    entry.note = results.dump();
}

// A loader's product and serial number stand in its note and, once more, in how it came.
void Redaction::applyAttach(Entry& entry) {
    if (!entry.note.starts_with(kLoaders[5])) return;
    const auto known = [](std::string_view text) {
        return isIn(kLoaders, text) ? std::string(text) : mask(text);
    };
    entry.note = each(entry.note, " ", known);
    Json how = Json::parse(entry.bytes);
    for (auto& [key, value] : how.items()) {
        const std::string text = value;
        value = cover::escape(each(cover::unescape(text).value_or(text), " ", known));
    }
    entry.bytes = how.dump();
}

void Redaction::apply(Entry& entry) {
    switch (entry.kind) {
        case Kind::TtyRx:
            entry.bytes =
                    maskCommand(std::string_view(entry.bytes).substr(0, entry.bytes.size() - 1)) +
                    "\r";
            break;
        case Kind::TtyTx:
            entry.bytes =
                    each(entry.bytes, "\r\n", [this](std::string_view text) { return line(text); });
            break;
        case Kind::ClientCall:
        case Kind::ClientCallback:
            applyCall(entry);
            break;
        case Kind::Property:
            if (entry.bytes.size() > 1) entry.bytes = mask(entry.bytes);
            break;
        case Kind::Uevent:
            entry.bytes = each(entry.bytes, std::string_view("\0", 1),
                               [this](std::string_view text) { return eventString(text); });
            break;
        case Kind::Attach:
            applyAttach(entry);
            break;
        default:
            break;
    }
}

void Redaction::run() {
    keepVersions();
    for (Entry& entry : mRecording.entries) apply(entry);
    recording::Header& header = mRecording.header;
    for (auto& [key, value] : header.properties) {
        // Those of one character switch something; the others are ours.
        if (value.size() > 1 && value != "mtk" && value != "Q-71C") value = mask(value);
    }
    header.unknown.emplace_back("Texts were taken out: letters are x, digits 0.");
}

}  // namespace

std::string maskCommand(std::string_view text) {
    for (const std::string_view known : kCommands) {
        const bool isWhole = !known.ends_with('=');
        if (isWhole ? text == known : text.starts_with(known)) return std::string(text);
    }
    const size_t kept = cover::startsWithNoCase(text, "AT") ? 2 : 0;
    return std::string(text.substr(0, kept)) + mask(text.substr(kept));
}

void redact(recording::Recording& recording) {
    Redaction(recording).run();
}

}  // namespace phonelog
