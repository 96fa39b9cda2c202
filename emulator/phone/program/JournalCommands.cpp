// ctl: the journal, and of it the kernel log.

#include <cstdint>
#include <cstdio>
#include <string_view>

#include <unistd.h>
#include <zlib.h>

#include <nlohmann/json.hpp>

#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/cover/Text.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

constexpr int kJournalWaitMs = 30'000;

struct Reading {
    uint64_t since = 1;
    bool follow = false;
    bool raw = false;
};

// Prints the journal from `since` on, to its end or, with `follow`, until the emulator's. `inWords`
// gives what is printed of an entry.
void readJournal(Session& session, const Reading& reading, std::string (*inWords)(Json& entry)) {
    for (uint64_t since = reading.since;;) {
        Session::Params params = {{"since", std::to_string(since)}};
        if (reading.follow) params.emplace("wait_ms", std::to_string(kJournalWaitMs));
        std::optional<Json> page = session.get("/v1/journal", params);
        if (!page) return;
        Json& entries = page->at("entries");
        const auto next = page->at("next").get<uint64_t>();
        // It would be asked for the same for ever.
        if (!entries.is_array() || (!entries.empty() && next <= since)) throw ForeignAnswer();
        std::string text;
        for (Json& entry : entries) {
            if (!entry.is_object()) throw ForeignAnswer();
            text += inWords(entry);
        }
        cli::printOrFail(text);
        if (entries.empty() && !reading.follow) return;
        since = next;
    }
}

std::string showRaw(Json& entry) {
    return entry.dump() + "\n";
}

// What people can read of an entry: length and digest in the place of many bytes.
std::string showShort(Json& entry) {
    constexpr size_t kMostBytes = 256;
    const auto bytes = cover::unescape(entry.value("bytes", ""));
    if (!bytes || bytes->size() <= kMostBytes) return showRaw(entry);
    const uLong digest = crc32_z(0, reinterpret_cast<const Bytef*>(bytes->data()), bytes->size());
    char spelt[sizeof("01234567")];
    snprintf(spelt, sizeof(spelt), "%08lx", digest);
    Json shown = Json::object();
    for (const auto& [name, value] : entry.items()) {
        if (name == "bytes") {
            shown["length"] = bytes->size();
            shown["crc32"] = spelt;
        } else {
            shown[name] = value;
        }
    }
    return showRaw(shown);
}

void addWholeJournal(cli::Command& ctl) {
    const auto reading = std::make_shared<Reading>();
    cli::Command& command = add(ctl, "journal", "Print the journal, one JSON object a line",
                                [reading](Session& session) {
                                    const bool isShort =
                                            !reading->raw && isatty(STDOUT_FILENO) != 0;
                                    readJournal(session, *reading, isShort ? showShort : showRaw);
                                });
    command.take("--since", &reading->since, "First entry's number").showDefault();
    command.flag("--follow", &reading->follow, "Go on until ended");
    command.flag("--raw", &reading->raw, "Every byte, on a terminal too");
    command.setHelp(
            "On a terminal more than 256 bytes are shown as their number and their CRC-32, that "
            "of\n"
            "zlib and gzip: \"length\" and \"crc32\" in the place of \"bytes\". Into a file or a "
            "pipe all\n"
            "are printed.");
}

std::string showMessage(Json& entry) {
    if (entry.at("kind") != "klog") return "";
    std::string message = cover::unescape(entry.value("bytes", "")).value_or("");
    // Its own line end is the end of the printed one.
    if (message.ends_with('\n')) message.pop_back();
    return cover::escape(message) + "\n";
}

// The service asks the cover for its log when this property begins with 1 or more.
constexpr char kCapture[] = "persist.vendor.qmx.service.kernel.enable";

// Tells why there may be nothing of the cover to read. False when the emulator did not answer.
bool tellOfCapture(Session& session) {
    const std::optional<Json> list = session.get("/v1/properties");
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

void addKernelLog(cli::Command& ctl) {
    const auto reading = std::make_shared<Reading>();
    cli::Command& command =
            add(ctl, "klog", "Print what was written to the kernel log, a message a line",
                [reading](Session& session) {
                    if (tellOfCapture(session)) {
                        readJournal(session, *reading, showMessage);
                    }
                });
    command.flag("--follow", &reading->follow, "Go on until ended");
    command.setHelp(
            "The cover's own log is in it as long as the service captures it; standard error tells "
            "when\n"
            "it does not, and how to switch that on.");
}

}  // namespace

void addJournal(cli::Command& ctl) {
    addWholeJournal(ctl);
    addKernelLog(ctl);
}

}  // namespace emulator
