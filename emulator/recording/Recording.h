// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recording: a journal in a file, which can be replayed. docs/recordings.md has the format.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "emulator/phone/Entry.h"

namespace recording {

using Json = nlohmann::ordered_json;

// What this program writes. Version 1 is a journal without a header, as it was written before.
inline constexpr int kVersion = 2;

// Bounds of what is read; a file beyond them is refused.
inline constexpr size_t kLongestLine = 8 << 20;
inline constexpr size_t kMostEntries = 1'000'000;
inline constexpr size_t kMostAttaches = 10'000;
inline constexpr size_t kMostBytes = 512 << 20;
inline constexpr std::chrono::hours kLongestTime{24 * 366};

struct Header {
    int version = kVersion;
    std::string program = "bivista-emulator";  // and its version, after a space
    std::string source = "phone";  // "phone": the emulated one; "log": made out of a phone's log
    // Lanes, or first words of theirs ("tty", "node"), that the recording holds whole. Empty: all.
    // Others are not compared.
    std::vector<std::string> lanes;
    // How the phone was before the first entry. Any bytes: the file has them escaped, as in
    // entries.
    std::map<std::string, std::string> properties;
    std::map<std::string, std::string> files;  // control files that its software reads, by path
    std::map<std::string, uint64_t> images;    // firmware images, sizes by file name
    // What the source did not say, one sentence each; shown before a replay.
    std::vector<std::string> unknown;
};

struct Recording {
    Header header;
    std::vector<phone::Entry> entries;  // in the order of their begin
    // What read() left out, "FILE:LINE: what" each: a last line that is cut off, entries of kinds
    // that it does not know.
    std::vector<std::string> notes = {};
};

// What is wrong with a recording; what() is "FILE:LINE: what", or "FILE: what" of the whole file.
class Wrong : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One line of JSON without a line end.
std::string toJson(const Header& header);

// A journal without a header is version 1. Throws Wrong. Takes memory for what the bounds allow.
Recording read(const std::filesystem::path& file);
// Replaces the file. The entries are numbered anew, in their order. Throws std::system_error.
void write(const std::filesystem::path& file, const Recording& recording);

// --- lanes: what is compared, each for itself ---

// "tty", "node PATH", "hidraw", "call", "callback IFACE.METHOD", ...: docs/recordings.md lists
// them. Empty: the entry is none of the service's deeds, but something that happens to it, or is of
// no interest; it is not compared.
std::string laneOf(const phone::Entry& entry);

// The entry is something that happens to the service from outside: a replay brings it about. False
// for a tty-tx: whether it answers a command, the entry alone does not tell.
bool isStimulus(const phone::Entry& entry);

struct Difference {
    std::string lane;
    // The first entries of the lane that differ; either may be absent, at the end of a lane.
    const phone::Entry* recorded = nullptr;
    const phone::Entry* replayed = nullptr;
};

// The first difference of each lane, the earliest in the recording first; and how many deeds of the
// recording were compared. Points into what was compared.
struct Comparison {
    std::vector<Difference> differences;
    size_t compared = 0;
};
// `replayed` in any order.
Comparison compare(const Recording& recorded, const std::vector<phone::Entry>& replayed);

// Recorded left and replayed right, each lane's neighbourhood of its first difference, which "!"
// marks. Lines are at most `width` columns wide; 0: 160. "" without a difference.
std::string sideBySide(const Comparison& comparison, const Recording& recorded,
                       const std::vector<phone::Entry>& replayed, size_t width);

}  // namespace recording
