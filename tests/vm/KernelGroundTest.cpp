// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator-kernel where there is no kernel for it.

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/support/Process.h"

namespace {

using support::Outcome;
using support::Process;
using testing::AnyOf;
using testing::HasSubstr;

TEST(KernelGroundTest, OnAnOrdinaryMachineThereIsNoPhone) {
    if (access("/dev/bivista_phone", F_OK) == 0) GTEST_SKIP() << "this is the phone's machine";
    const Outcome run =
            Process({KERNEL_EMULATOR, "run", "--no-cover", "--", "echo", "ran"}).outcome();
    EXPECT_EQ(run.status, 125);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::MatchesRegex("bivista-emulator: [^\n]+\n"));
    EXPECT_THAT(run.err, AnyOf(HasSubstr("needs root"), HasSubstr("has no vhci_hcd on USB bus 1"),
                               HasSubstr("has no /dev/bivista_phone")));
}

}  // namespace
