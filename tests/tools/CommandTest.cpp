// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What an action throws becomes an exit status.
#include <gtest/gtest.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>

#include "tools/ExitStatus.h"

using bivistactl::Failure;
using bivistactl::runToExitStatus;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

TEST(RunToExitStatusTest, IsWhatTheActionReturns) {
    CaptureStderr();
    EXPECT_EQ(1, runToExitStatus([] { return bivistactl::EXIT_ANSWERED_FAIL; }));
    EXPECT_EQ("", GetCapturedStderr());
}

TEST(RunToExitStatusTest, AFailureHasItsOwn) {
    CaptureStderr();
    EXPECT_EQ(3, runToExitStatus([]() -> int {
                  throw Failure(bivistactl::EXIT_NO_SERVICE, "no service.");
              }));
    EXPECT_EQ("bivistactl: no service.\n", GetCapturedStderr());
}

TEST(RunToExitStatusTest, AnythingElseThatIsThrownIsAFailureOfTheProgram) {
    CaptureStderr();
    EXPECT_EQ(4, runToExitStatus([]() -> int { throw std::bad_alloc(); }));
    EXPECT_EQ(4, runToExitStatus([]() -> int {
                  throw std::filesystem::filesystem_error(
                          "cannot read", std::make_error_code(std::errc::io_error));
              }));
    EXPECT_EQ(
            "bivistactl: this program failed, not the service: it ran out of memory. "
            "\"bivistactl status\" tells what was done until then.\n"
            "bivistactl: this program failed, not the service: filesystem error: cannot read: "
            "Input/output error. \"bivistactl status\" tells what was done until then.\n",
            GetCapturedStderr());
}

TEST(UncaughtExceptionDeathTest, OfAnyThreadIsAFailureOfTheProgramToo) {
    const auto program = [] {
        std::set_terminate(bivistactl::endOnUncaughtException);
        std::thread([] {
            throw std::system_error(EAGAIN, std::generic_category(), "no thread");
        }).join();
    };
    EXPECT_EXIT(
            program(), testing::ExitedWithCode(4),
            "^bivistactl: this program failed, not the service: no thread: Resource temporarily "
            "unavailable. .bivistactl status. tells what was done until then.\n$");
}

TEST(UncaughtExceptionDeathTest, IsNoneWhenTheProgramIsAtFault) {
    const auto program = [] {
        std::set_terminate(bivistactl::endOnUncaughtException);
        std::terminate();
    };
    EXPECT_EXIT(program(), testing::KilledBySignal(SIGABRT), "");
}
