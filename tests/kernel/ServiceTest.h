// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fixture: a real Bivista on the emulated phone, in this process.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kernel/Bivista.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PhoneTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The control file of the cover's USB power, as the service reaches it.
inline constexpr char kPowerControl[] = "/sys/class/tty/ttyACM0/device/../power/control";

// The last command of an attach, as long as the phone's touch update state is what it was made
// with.
inline constexpr char kUpdateStateCommand[] = "AT%TCHUPDATE=UPDATE_STATE,0,0,0\r";

// Lines of the service's log as tests expect them.
support::LogLine debugLine(std::string text);
support::LogLine infoLine(std::string text);
support::LogLine errorLine(std::string text);

class ServiceTest : public support::PhoneTest {
  protected:
    // Stops the service's USB side and log capture: a thread that is in a supervised call while the
    // process ends would never answer the leak check, which stops the phone first.
    ~ServiceTest() override;

    // Makes the service object; its threads use it until they end, which may be with the process.
    void make();
    void make(sp<Bivista> made);
    // Waits until both of its threads are where the handler of SIGUSR1 joins them. Whoever makes a
    // service waits for this, or for the end of the threads: see the destructor.
    void awaitWatching();
    static void awaitUsbWatch();
    // Both.
    void start();
    void start(sp<Bivista> made);

    // Puts the cover on, as a rule without its panel, and waits until the service has attached it.
    void attach(const phone::CoverOptions& options = support::withoutPanel());
    // Waits for the end of an attach that the log shows at this line or later.
    void awaitAttached(size_t line = 0) const;
    // Pulls the cover off and waits until the service has detached it.
    void detach();

    // Sends a command with a buffer of 1024 bytes; the answer as far as it was stored.
    struct Result {
        int value = 0;
        int error = 0;
        std::string answer;
    };
    Result send(const char* cmd);

    // Makes an empty file in /dev, as the kernel makes a node: with an event of its creation.
    static void createNode(const std::string& name);

    // What the service wrote to control files from journal entry `from` on, in order: the last path
    // component and the bytes, as in "control=on".
    std::vector<std::string> nodeWrites(uint64_t from) const;
    // The log without the lines of the service's lasting threads.
    std::vector<std::string> ownLines() const;
    // The commands that the cover received.
    std::vector<std::string> commands(uint64_t from) const;

    support::LogCapture log;
    sp<Bivista> service;
};

// With a cover, whose attach is over to the last line and vote: what follows is the test's own.
class AttachedTest : public ServiceTest {
  protected:
    void SetUp() override;
    // The journal's position after the attach.
    uint64_t from = 0;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
