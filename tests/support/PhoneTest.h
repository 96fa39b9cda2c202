// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Fixture for tests that run the service's code in process, in a world with an emulated phone.
//
// Link with target test-support and declare the test with bivista_test(... MAIN ...): the library
// brings a main() that enters the world and makes the phone before any other thread exists. The
// supervisor is on for the test's threads. HIDL_SOCKET_DIR is /data/hidl in the world. A test that
// runs where worlds are forbidden fails.
#pragma once

#include <android-base/unique_fd.h>
#include <gtest/gtest.h>

#include "emulator/phone/Phone.h"

namespace support {

// How the cover is put on where a test is about its tty: a service is busy with the panel for a
// while longer, on the thread that looks after both.
inline phone::CoverOptions withoutPanel() {
    phone::CoverOptions options;
    options.withHid = false;
    return options;
}

// Gives a tty the service's line settings, with which each read returns one line. Without them the
// kernel sends back to the cover whatever it says.
void setLines(const android::base::unique_fd& tty);

class PhoneTest : public testing::Test {
  protected:
    PhoneTest();
    ~PhoneTest() override;

    // With nothing attached at the start of each test, and its journal going on: see `first`.
    phone::Phone& phone;
    phone::Journal& journal;
    // The first journal entry of this test.
    const uint64_t first;
};

}  // namespace support
