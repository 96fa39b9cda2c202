// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A recording: a journal in a file, which can be replayed. docs/recordings.md has the format.
#pragma once

#include <filesystem>
#include <functional>
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
inline constexpr size_t kMostBytes = 512 << 20;

struct Header {
    int version = kVersion;
    std::string source = "phone";  // "phone": the emulated one; "log": made out of a phone's log
    // Names of the lanes that the recording holds whole. Empty: all. Others are not compared.
    std::vector<std::string> lanes;
    // How the phone was before the first entry; texts are escaped as in entries.
    std::map<std::string, std::string> properties;
    std::map<std::string, std::string> files;  // control files that its software reads, by path
    std::map<std::string, uint64_t> images;    // firmware images, sizes by file name
    // What the source did not say, one sentence each; shown before a replay.
    std::vector<std::string> unknown;
};

struct Recording {
    Header header;
    std::vector<phone::Entry> entries;  // in the order of their begin
};

// What is wrong with a recording; what() is "FILE:LINE: what".
class Wrong : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One line of JSON without a line end.
std::string toJson(const Header& header);

Recording read(const std::filesystem::path& file);
// Replaces the file. Throws std::system_error.
void write(const std::filesystem::path& file, const Recording& recording);

// --- lanes: what is compared, each for itself ---

// "tty" (all that passes there), "node PATH", "hidraw", "call" (calls and their results, in order),
// "callback IFACE.METHOD", "neighbour", "klog", ... Empty: the entry is none of the service's
// deeds, but something that happens to it (or is of no interest), and is not compared.
std::string laneOf(const phone::Entry& entry);

// The entry is something that happens to the service from outside: a replay brings it about.
bool isStimulus(const phone::Entry& entry);

struct Difference {
    std::string lane;
    // The first entries of the lane that differ; either may be absent, at the end of a lane.
    const phone::Entry* recorded = nullptr;
    const phone::Entry* replayed = nullptr;
};

// The first difference of each lane, the earliest in the recording first; and how many deeds were
// compared.
struct Comparison {
    std::vector<Difference> differences;
    size_t compared = 0;
};
Comparison compare(const Recording& recorded, const std::vector<phone::Entry>& replayed);

// Recorded and replayed side by side, each lane's neighbourhood of its first difference.
std::string sideBySide(const Comparison& comparison, const Recording& recorded,
                       const std::vector<phone::Entry>& replayed, size_t width);

}  // namespace recording
