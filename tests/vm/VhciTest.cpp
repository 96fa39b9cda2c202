// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Vhci.h"

#include <gtest/gtest.h>

namespace vm {
namespace {

TEST(VhciTest, APortIsFreeWhenNothingIsOrGoesThere) {
    const char* const status =
            "hub port sta spd dev      sockfd local_busid\n"
            "hs  0000 006 003 00010000 000005 1-1\n"
            "hs  0001 004 000 00000000 000000 0-0\n"
            "hs  0002 005 000 00000000 000000 0-0\n"
            "hs  0003 004 000 00000000 000000 0-0\n"
            "ss  0008 004 000 00000000 000000 0-0\n";
    EXPECT_EQ(freePorts(status), (std::vector<int>{1, 3}));
}

TEST(VhciTest, AnUnknownTextHasNone) {
    EXPECT_TRUE(freePorts("").empty());
    EXPECT_TRUE(freePorts("hs\nhs x 004\n\n").empty());
}

}  // namespace
}  // namespace vm
