// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The outcome of a HIDL call.
#define LOG_TAG "host-hidl"

#include <hidl/Status.h>

#include <log/log.h>

#include <cstring>

namespace android::hardware {

namespace {

std::string exceptionName(int32_t exception) {
    switch (exception) {
        case Status::EX_NONE:
            return "EX_NONE";
        case Status::EX_SECURITY:
            return "EX_SECURITY";
        case Status::EX_BAD_PARCELABLE:
            return "EX_BAD_PARCELABLE";
        case Status::EX_ILLEGAL_ARGUMENT:
            return "EX_ILLEGAL_ARGUMENT";
        case Status::EX_NULL_POINTER:
            return "EX_NULL_POINTER";
        case Status::EX_ILLEGAL_STATE:
            return "EX_ILLEGAL_STATE";
        case Status::EX_NETWORK_MAIN_THREAD:
            return "EX_NETWORK_MAIN_THREAD";
        case Status::EX_UNSUPPORTED_OPERATION:
            return "EX_UNSUPPORTED_OPERATION";
        case Status::EX_HAS_REPLY_HEADER:
            return "EX_HAS_REPLY_HEADER";
        case Status::EX_TRANSACTION_FAILED:
            return "EX_TRANSACTION_FAILED";
        default:
            return std::to_string(exception);
    }
}

// Debian's libutils declares statusToString(), but has no such function.
std::string errorName(status_t error) {
    switch (error) {
        case BAD_TYPE:
            return "BAD_TYPE";
        case DEAD_OBJECT:
            return "DEAD_OBJECT";
        case FAILED_TRANSACTION:
            return "FAILED_TRANSACTION";
        case NOT_ENOUGH_DATA:
            return "NOT_ENOUGH_DATA";
        case UNEXPECTED_NULL:
            return "UNEXPECTED_NULL";
        case UNKNOWN_ERROR:
            return "UNKNOWN_ERROR";
        case UNKNOWN_TRANSACTION:
            return "UNKNOWN_TRANSACTION";
        default:
            return std::to_string(error) + " (" + strerror(-error) + ")";
    }
}

}  // namespace

Status Status::fromStatusT(status_t status) {
    Status result;
    result.setFromStatusT(status);
    return result;
}

void Status::setException(int32_t exceptionCode, const char* message) {
    *this = Status(exceptionCode, exceptionCode == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK,
                   message);
}

void Status::setFromStatusT(status_t status) {
    *this = status == OK ? Status() : Status(EX_TRANSACTION_FAILED, status, "");
}

std::string Status::description() const {
    if (isOk()) return "No error";
    std::string text = "Status(" + exceptionName(mException) + "): '";
    if (mError != OK) text += errorName(mError) + ": ";
    return text + mMessage + "'";
}

std::ostream& operator<<(std::ostream& stream, const Status& status) {
    return stream << status.description();
}

namespace details {

return_status& return_status::operator=(return_status&& other) noexcept {
    if (this != &other) {
        checkExamined();
        takeFrom(other);
    }
    return *this;
}

void return_status::takeFrom(return_status& other) {
    mStatus = std::move(other.mStatus);
    mExamined = other.mExamined;
    other.mExamined = true;
}

bool return_status::isDeadObject() const {
    const bool dead = mStatus.transactionError() == DEAD_OBJECT;
    if (dead) mExamined = true;
    return dead;
}

void return_status::assertOk() const {
    mExamined = true;
    if (!mStatus.isOk()) {
        LOG_ALWAYS_FATAL("A value was taken from a HIDL call that failed: %s",
                         description().c_str());
    }
}

void return_status::onFailureIgnored() const {
    LOG_ALWAYS_FATAL("A failed HIDL call was not examined with isOk(): %s", description().c_str());
}

}  // namespace details
}  // namespace android::hardware
