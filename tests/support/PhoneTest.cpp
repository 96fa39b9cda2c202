// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/PhoneTest.h"

#include "tests/support/TheWorld.h"

namespace support {

PhoneTest::PhoneTest() : phone(thePhone()), journal(phone.journal()), first(journal.next()) {
    phone.panel.setOpenTime({});
}

PhoneTest::~PhoneTest() {
    phone.reset();
}

}  // namespace support
