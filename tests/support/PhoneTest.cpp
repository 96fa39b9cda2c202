// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/PhoneTest.h"

#include <termios.h>

#include "tests/support/TheWorld.h"

namespace support {

void setLines(const android::base::unique_fd& tty) {
    termios settings = {};
    settings.c_iflag = IGNPAR | IGNCR;
    settings.c_cflag = B115200 | CS8 | CREAD | CLOCAL | CRTSCTS;
    settings.c_lflag = ICANON;
    ASSERT_EQ(tcsetattr(tty.get(), TCSANOW, &settings), 0);
}

PhoneTest::PhoneTest() : phone(thePhone()), journal(phone.journal()), first(journal.next()) {}

PhoneTest::~PhoneTest() {
    phone.reset();
}

}  // namespace support
