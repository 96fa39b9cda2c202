// What the command line says of the phone under test.
#pragma once

#include <chrono>
#include <set>
#include <string>

namespace bivista_vts {

// What a phone may have. A test that needs one of them finds out by asking the service.
inline constexpr char kCover[] = "cover";
inline constexpr char kPanel[] = "panel";          // the cover's sub display
inline constexpr char kNodes[] = "nodes";          // kernel nodes and folders that the service uses
inline constexpr char kAccessory[] = "accessory";  // a service that knows whether a cover is on

struct Options {
    std::set<std::string> with;     // is there: a test that misses it fails, instead of skipping
    std::set<std::string> without;  // is not there: a test that finds it fails
    bool allowLoader = false;       // the cover's firmware may be upgraded, its loader entered
    bool version = false;           // to be printed; no test runs
    // Ends a wait in vain. Longer than an attachment takes, with a cover that leaves a command
    // unanswered and is reset.
    std::chrono::seconds patience{60};
    std::string gestureCommand;  // shell command that makes the phone report a WAKEUP gesture
};

// As parsed; written before the first test runs.
const Options& options();

// Takes what GoogleTest has left of the command line. False, told on standard error, when it is not
// understood.
bool parseOptions(int argc, char** argv);

}  // namespace bivista_vts
