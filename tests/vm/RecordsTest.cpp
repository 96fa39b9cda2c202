// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Records.h"

#include <fcntl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include <gtest/gtest.h>

#include "emulator/phone/Error.h"

namespace vm {
namespace {

using Kind = Record::Kind;

TEST(RecordsTest, AnOpenHasItsFlagsAndItsFile) {
    const Record record = parseRecord("O 184 59397375870 88001 /sys/power/wake_lock");
    EXPECT_EQ(record.kind, Kind::Open);
    EXPECT_EQ(record.process, 184);
    EXPECT_EQ(record.begin.count(), 59397375870);
    EXPECT_EQ(record.flags, 0x88001);
    EXPECT_EQ(record.path, "/sys/power/wake_lock");
}

TEST(RecordsTest, AWriteHasItsBytesExactly) {
    EXPECT_EQ(parseRecord("W 1 2 0 /dev/kmsg 3c363e00ff0a").bytes, std::string("<6>\0\xff\n", 6));
    EXPECT_EQ(parseRecord("W 1 2 0 /dev/kmsg -").bytes, "");
}

TEST(RecordsTest, ANameMayHaveBlanks) {
    EXPECT_EQ(parseRecord("X 1 2 41 /sys/a\\040b\\134c 13").path, "/sys/a b\\c");
}

TEST(RecordsTest, EachKindHasItsNumbers) {
    const Record open = parseRecord("H 184 59397375870 88002 /dev/hidraw0 -19 155091970");
    EXPECT_EQ(open.number, -19);
    EXPECT_EQ(open.duration.count(), 155091970);
    EXPECT_EQ(parseRecord("R 1 2 8002 /dev/ttyACM0 1023").number, 1023);
    EXPECT_EQ(parseRecord("X 1 2 41 /sys/a 13").number, 13);
    EXPECT_EQ(parseRecord("L 0 2 0 - 7").number, 7);
    for (const char* line : {"C 1 2 1 /dev/kmsg", "T 1 2 102 /dev/ttyACM0", "U 1 2 2 /dev/ttyACM0",
                             "h 1 2 2 /dev/hidraw0"}) {
        EXPECT_EQ(static_cast<char>(parseRecord(line).kind), line[0]);
    }
}

TEST(RecordsTest, WhatIsNoRecordIsRefused) {
    for (const char* line :
         {"", "O", "Q 1 2 0 /a", "OO 1 2 0 /a", "O x 2 0 /a", "O 1 x 0 /a", "O 1 2 g /a", "O 1 2 0",
          "O 1 2 0 /a more", "W 1 2 0 /a", "W 1 2 0 /a 3", "W 1 2 0 /a 3x", "R 1 2 0 /a",
          "R 1 2 0 /a 1 2", "H 1 2 0 /a 0"}) {
        EXPECT_THROW(parseRecord(line), phone::Error) << line;
    }
}

TEST(RecordsTest, AllThatWaitsIsTaken) {
    android::base::unique_fd reader;
    android::base::unique_fd writer;
    ASSERT_TRUE(android::base::Pipe(&reader, &writer, O_NONBLOCK));
    EXPECT_TRUE(takeRecords(reader.get()).empty());
    const std::string lines = "C 1 2 1 /dev/kmsg\nR 1 3 2 /dev/ttyACM0 4\n";
    ASSERT_EQ(write(writer.get(), lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
    const std::vector<Record> records = takeRecords(reader.get());
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].kind, Kind::Close);
    EXPECT_EQ(records[1].number, 4);
    EXPECT_TRUE(takeRecords(reader.get()).empty());
}

TEST(RecordsTest, FlagsOfTheKernelAloneAreNotNamed) {
    // O_LARGEFILE, which every program of 64 bits has.
    EXPECT_EQ(nameFlags(0100000 | O_RDWR | O_NOCTTY | O_CLOEXEC), "O_RDWR|O_NOCTTY|O_CLOEXEC");
    EXPECT_EQ(nameFlags(0100000), "O_RDONLY");
}

}  // namespace
}  // namespace vm
