// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Unread.h"

#include <gtest/gtest.h>

namespace vm {
namespace {

TEST(UnreadTest, WhatTheKernelHasNotFetchedIsUnread) {
    Unread unread;
    EXPECT_FALSE(unread.any());
    unread.send("\r\nOK\r\n");
    EXPECT_TRUE(unread.any());
}

TEST(UnreadTest, AReaderOfLinesGetsNoCarriageReturns) {
    Unread unread;
    unread.send("\r\nOK\r\n");
    unread.fetch(6);
    EXPECT_TRUE(unread.any());
    unread.read(1);
    EXPECT_TRUE(unread.any());
    unread.read(3);
    EXPECT_FALSE(unread.any());
}

TEST(UnreadTest, HalfALineCannotBeRead) {
    Unread unread;
    unread.send("+LOG: ");
    unread.fetch(6);
    EXPECT_FALSE(unread.any());
    unread.send("x\n");
    unread.fetch(8);
    unread.read(7);
    EXPECT_TRUE(unread.any());
    unread.read(1);
    EXPECT_FALSE(unread.any());
}

TEST(UnreadTest, TheLastCloseDropsWhatTheKernelHolds) {
    Unread unread;
    unread.send("OK\nmore\n");
    unread.fetch(3);
    unread.drop();
    EXPECT_TRUE(unread.any()) << "the device still holds a line";
    unread.fetch(8);
    unread.drop();
    EXPECT_FALSE(unread.any());
}

}  // namespace
}  // namespace vm
