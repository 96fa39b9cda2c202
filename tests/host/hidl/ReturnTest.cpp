// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The outcome of calls: which outcomes must be examined, and the description of a failure.
#include <gtest/gtest.h>
#include <hidl/Status.h>

namespace {

using namespace ::android::hardware;

Status dead() {
    return Status::fromStatusT(::android::DEAD_OBJECT);
}

TEST(Return, CarriesItsValue) {
    Return<int> result(5);
    EXPECT_TRUE(result.isOk());
    EXPECT_EQ(static_cast<int>(result), 5);
    EXPECT_EQ(result.description(), "No error");
}

TEST(Return, TellsADeadObject) {
    Return<int> result(dead());
    EXPECT_FALSE(result.isOk());
    EXPECT_TRUE(result.isDeadObject());
    EXPECT_EQ(result.description(), "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '");
}

TEST(Return, TellsAnException) {
    Return<void> result(Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "why"));
    EXPECT_FALSE(result.isOk());
    EXPECT_FALSE(result.isDeadObject());
    EXPECT_EQ(result.description(), "Status(EX_ILLEGAL_ARGUMENT): 'why'");
}

TEST(Return, GivesTheDefaultOfAFailure) {
    EXPECT_EQ(Return<int>(dead()).withDefault(7), 7);
    EXPECT_EQ(Return<int>(1).withDefault(7), 1);
}

TEST(ReturnDeathTest, IgnoredFailureAborts) {
    EXPECT_DEATH({ Return<void> result(dead()); }, "not examined.*DEAD_OBJECT");
}

TEST(ReturnDeathTest, FailureIsNotExaminedByItsDescription) {
    EXPECT_DEATH(
            {
                Return<void> result(dead());
                (void)result.description();
            },
            "not examined");
}

TEST(ReturnDeathTest, FailureThatIsOverwrittenAborts) {
    EXPECT_DEATH(
            {
                Return<void> result(dead());
                result = Return<void>();
            },
            "not examined");
}

TEST(ReturnDeathTest, ValueOfAFailureAborts) {
    Return<int> result(dead());
    EXPECT_DEATH((void)static_cast<int>(result), "value was taken");
    EXPECT_FALSE(result.isOk());
}

TEST(Return, DutyToExamineMovesAlong) {
    Return<int> first(dead());
    Return<int> second(std::move(first));
    EXPECT_FALSE(second.isOk());
}

TEST(Return, IgnoredSuccessIsFine) {
    { Return<int> result(1); }
    SUCCEED();
}

}  // namespace
