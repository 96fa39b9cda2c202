// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The conformance suite of IBivista, for every instance that is served.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include "Options.h"
#include "Settings.h"

namespace {

constexpr int kUsageStatus = 2;
constexpr int kOutputStatus = 4;

int complainOfOutput() {
    fputs("bivista-vts: cannot write to standard output\n", stderr);
    return kOutputStatus;
}

// Other kinds of output have a position, or another error.
bool isOutputClosed() {
    return ftell(stdout) == -1 && errno == EBADF;
}

int printVersion() {
    puts("bivista-vts " BIVISTA_VERSION);
    return 0;
}

int runTests() {
    bivista_vts::keepSettings();
    return RUN_ALL_TESTS();
}

}  // namespace

int main(int argc, char** argv) {
    // A connection that got its number would receive what is printed.
    if (isOutputClosed()) return complainOfOutput();
    testing::InitGoogleTest(&argc, argv);
    if (!bivista_vts::parseOptions(argc, argv)) return kUsageStatus;
    const int result = bivista_vts::options().version ? printVersion() : runTests();
    return fflush(stdout) == 0 && ferror(stdout) == 0 ? result : complainOfOutput();
}
