// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the reader refuses, and what it says.
#include <gtest/gtest.h>

#include "tests/play/Written.h"

namespace play {
namespace {

TEST(BadFileTest, UnknownWordsNameTheNearestKnownOne) {
    EXPECT_EQ("s.yaml:4:5: \"cal\" is no step: did you mean call?",
              errorOfSteps("  - cal: goDload\n"));
}

}  // namespace
}  // namespace play
