// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a report says of itself, as its member manifest.json.
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace report {

// The members' names.
inline constexpr char kManifest[] = "manifest.json";
inline constexpr char kDump[] = "dump.json";
inline constexpr char kEvents[] = "events.json";
inline constexpr char kDoctor[] = "doctor.json";
inline constexpr char kSettings[] = "settings.prop";
inline constexpr char kServiceLog[] = "service.log";
inline constexpr char kKernelLog[] = "kernel.log";
inline constexpr char kPhoneState[] = "emulator-state.json";
inline constexpr char kPhoneJournal[] = "emulator-journal.jsonl";

// The version of what is in a report. It grows when a reader of an older one would be misled.
inline constexpr int kFormat = 1;

// What a report does not have.
struct Missing {
    // Of the member.
    std::string name;
    // In our words.
    std::string why;
    // In those of the system, which may name users and files; empty as a rule.
    std::string detail = {};
};

// The machine where a report was made.
struct Machine {
    std::string system;
    std::string host;
    std::string user;
};

struct Manifest {
    int64_t format = kFormat;
    // The program that made it, and its version.
    std::string program;
    std::string version;
    int64_t wallMicros = 0;
    int64_t monotonicMicros = 0;
    bool redacted = false;
    Machine machine;
    std::vector<Missing> missing;
};

// "settings.prop: there is no file", with the detail in brackets.
std::string inWords(const Missing& missing);

// Of this program, machine and moment.
Manifest makeManifest();

std::string toText(const Manifest& manifest);

// Throws BadReport for a later format, and for what is no manifest.
Manifest readManifest(std::string_view text);

}  // namespace report
