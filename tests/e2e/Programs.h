// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The real programs of one build, started as a person starts them, in a registry folder of their
// own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Process.h"

namespace e2e {

using support::Outcome;
using support::Process;

// An entry of the phone's journal; texts are spelt as there.
struct JournalEntry {
    std::string kind;
    std::string path;
    std::string bytes;
    std::string note;

    // What the phone did to its cover and kernel, in short: a command as it is, a write to a
    // control file as "bv2_pd=1 0". Empty for other entries.
    std::string deed() const;
};

// Path of a program of this build.
std::string bin(const std::string& name);
inline const std::string kService = "vendor.qmx.hardware.bivista@1.1-service";

// Fixture: a registry folder, and on demand the emulated phone with the service on it.
class ProgramsTest : public testing::Test {
  protected:
    ProgramsTest();
    ~ProgramsTest() override;

    // Runs a program to its end.
    Outcome run(const std::vector<std::string>& command) const;
    // bivistactl call, and the rest of the arguments.
    Outcome call(std::vector<std::string> arguments) const;
    // bivista-emulator ctl, which must succeed.
    void ctl(std::vector<std::string> arguments) const;

    // Starts the service, or a program that starts it, on the emulated phone; waits until it
    // serves. With a cover, waits until it is attached too.
    void startPhone(const std::vector<std::string>& options = {},
                    const std::vector<std::string>& program = {bin(kService)});
    bool isCoverReady() const;
    void awaitCover() const;
    void awaitNoCover() const;
    // Waits until the service has done all that it does at the attach with which the phone started.
    void awaitAttachDone() const;
    pid_t servicePid() const;

    // The journal file, whole.
    std::string journal() const;
    // Its entries so far.
    std::vector<JournalEntry> entries() const;
    std::string log() const { return phone->err(); }

    // Waits until a condition holds; the test's time limit ends a wait in vain.
    static void await(const std::function<bool()>& condition);
    // Waits until the log of the service holds this text, `times` times.
    void awaitLog(const std::string& text, size_t times = 1) const;

    const std::string folder;
    std::unique_ptr<Process> phone;
};

size_t count(const std::string& text, const std::string& part);

}  // namespace e2e
