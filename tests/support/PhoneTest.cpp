#include "tests/support/PhoneTest.h"

#include "tests/support/TheWorld.h"

namespace support {

PhoneTest::PhoneTest() : phone(thePhone()), journal(phone.journal()), first(journal.next()) {}

PhoneTest::~PhoneTest() {
    phone.reset();
}

}  // namespace support
