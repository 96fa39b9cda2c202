// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// hidl_string, hidl_vec, hidl_array, hidl_handle, and how they print.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hidl/HidlSupport.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.0/types.h>

namespace {

using namespace ::android::hardware;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

TEST(HidlString, IsEmptyAndEndsWithNulWhenNew) {
    hidl_string text;
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ(text.c_str(), "");
}

TEST(HidlString, KeepsNulBytesInside) {
    const std::string bytes("a\0b", 3);
    hidl_string text(bytes);
    EXPECT_EQ(text.size(), 3u);
    EXPECT_EQ(std::string(text), bytes);
}

TEST(HidlString, CopyIsIndependent) {
    hidl_string first("one");
    hidl_string second(first);
    first = "two";
    EXPECT_EQ(second, "one");
    EXPECT_EQ(first, "two");
}

TEST(HidlString, MovedFromCanBeUsedAgain) {
    hidl_string first("one");
    hidl_string second(std::move(first));
    first = "two";
    EXPECT_EQ(second, "one");
    EXPECT_EQ(first, "two");
}

TEST(HidlString, CanBeGivenItsOwnTail) {
    hidl_string text("abcdef");
    text = text.c_str() + 3;
    EXPECT_EQ(text, "def");
}

TEST(HidlString, ExternalBytesAreNotCopied) {
    const char bytes[] = "external";
    hidl_string text;
    text.setToExternal(bytes, 8);
    EXPECT_EQ(text.c_str(), bytes);
}

TEST(HidlStringDeathTest, ExternalBytesMustEndWithNul) {
    const char bytes[] = {'a', 'b'};
    hidl_string text;
    EXPECT_DEATH(text.setToExternal(bytes, 1), "must end with NUL");
}

TEST(HidlString, NullIsEmpty) {
    EXPECT_EQ(hidl_string(static_cast<const char*>(nullptr)), "");
}

TEST(HidlVec, HoldsWhatItWasGiven) {
    hidl_vec<int> vec = {1, 2, 3};
    const std::vector<int> expected = {1, 2, 3};
    EXPECT_EQ(std::vector<int>(vec), expected);
    EXPECT_EQ(hidl_vec<int>(expected), vec);
}

TEST(HidlVec, ResizeKeepsTheFirstAndClearsTheRest) {
    hidl_vec<int> vec = {1, 2, 3};
    vec.resize(5);
    EXPECT_EQ(vec, hidl_vec<int>({1, 2, 3, 0, 0}));
    vec.resize(1);
    EXPECT_EQ(vec, hidl_vec<int>({1}));
    vec.resize(0);
    EXPECT_TRUE(vec.empty());
}

TEST(HidlVecDeathTest, OutsideAborts) {
    hidl_vec<int> vec = {1};
    EXPECT_DEATH(vec[1], "out of bounds");
}

TEST(HidlArray, HoldsItsElementsAndNothingElse) {
    const int values[] = {1, 2, 3};
    hidl_array<int, 3> array(values);
    EXPECT_EQ(array[1], 2);
    EXPECT_EQ(array.data()[2], 3);
    static_assert(sizeof(array) == sizeof(values));
}

TEST(HidlArrayDeathTest, OutsideAborts) {
    hidl_array<int, 2> array(std::array<int, 2>{1, 2});
    EXPECT_DEATH(array[2], "out of bounds");
}

TEST(HidlHandle, CopyOwnsDuplicates) {
    native_handle_t* native = native_handle_create(1, 1);
    native->data[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
    native->data[1] = 42;
    hidl_handle original;
    original.setTo(native, true);

    hidl_handle copy(original);
    ASSERT_NE(copy->data[0], original->data[0]);
    EXPECT_EQ(copy->data[1], 42);

    const int copied = copy->data[0];
    copy = hidl_handle();
    EXPECT_EQ(fcntl(copied, F_GETFD), -1);
    EXPECT_NE(fcntl(original->data[0], F_GETFD), -1);
}

TEST(HidlHandle, BorrowedHandleIsNotClosed) {
    native_handle_t* native = native_handle_create(1, 0);
    native->data[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
    { hidl_handle borrowed(native); }
    EXPECT_NE(fcntl(native->data[0], F_GETFD), -1);
    native_handle_close(native);
    native_handle_delete(native);
}

TEST(HidlEnum, RangeWalksTheValuesInOrder) {
    std::vector<Status> values;
    for (Status value : hidl_enum_range<Status>()) values.push_back(value);
    EXPECT_EQ(values, (std::vector<Status>{Status::OK, Status::FAIL}));
}

TEST(HidlToString, PrintsForPeople) {
    EXPECT_EQ(toString(hidl_string("a")), "\"a\"");
    EXPECT_EQ(toString(hidl_vec<int>({1, 2})), "[2]{1, 2}");
    EXPECT_EQ(toString(hidl_vec<bool>({true})), "[1]{true}");
    const int values[] = {1, 2};
    EXPECT_EQ(toString(hidl_vec<hidl_array<int, 2>>({values})), "[1]{[2]{1, 2}}");
    EXPECT_EQ(toString(hidl_handle()), "nullptr");
    EXPECT_EQ(::vendor::qmx::hardware::bivista::V1_0::toString(Status::FAIL), "FAIL");
}

}  // namespace
