// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The properties of the phone under test, from the command line.
#pragma once

#include <chrono>
#include <set>
#include <string>

namespace bivista_vts {

// Things that a phone may have. A test that needs one finds out from the service, or from the
// commands of the command line.
inline constexpr char kCover[] = "cover";
inline constexpr char kPanel[] = "panel";          // the cover's sub display
inline constexpr char kNodes[] = "nodes";          // kernel nodes and folders that the service uses
inline constexpr char kAccessory[] = "accessory";  // a service that knows whether a cover is on
inline constexpr char kImage[] = "image";          // a firmware image for the cover
inline constexpr char kNewer[] = "newer";          // one that is newer than the cover's firmware
inline constexpr char kFolder[] = "folder";        // of firmware images, be it empty
inline constexpr char kDump[] = "dump";            // what the service writes for debug()
inline constexpr char kPlugging[] = "plugging";    // attachCommand and detachCommand
inline constexpr char kEvents[] = "events";        // eventCommand
inline constexpr char kSilence[] = "silence";      // silenceCommand
inline constexpr char kHangup[] = "hangup";        // hangupCommand

struct Options {
    std::set<std::string> with;     // is there: a test that misses it fails, instead of skipping
    std::set<std::string> without;  // is not there: a test that finds it fails
    bool allowLoader = false;       // the cover's firmware may be upgraded, its loader entered
    bool version = false;           // to be printed; no test runs
    // Ends a wait in vain. Longer than an attachment takes, with a cover that leaves a command
    // unanswered and is reset.
    std::chrono::seconds patience{60};
    // Shell commands for what the interface cannot provoke; empty: not possible here.
    std::string attachCommand;   // puts the cover on
    std::string detachCommand;   // takes it off
    std::string eventCommand;    // makes the phone report the touch or pen event named by $1
    std::string panel;           // WIDTHxHEIGHTxFORMAT of the sub display; empty: any
    std::string silenceCommand;  // the cover leaves the next AT%SWV unanswered, until it is reset
    // Makes the cover go in the middle of its next answer to a command that begins with $1, or to
    // AT%SWV, and stay away.
    std::string hangupCommand;
};

// As parsed; written before the first test runs.
const Options& options();

// Takes the arguments that GoogleTest has left. False, with an error on standard error, for an
// argument that the suite does not know.
bool parseOptions(int argc, char** argv);

}  // namespace bivista_vts
