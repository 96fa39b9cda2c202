// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The outcome of a HIDL call.
#define LOG_TAG "host-hidl"

#include <hidl/Status.h>

#include <log/log.h>

#include <cstring>
#include <map>

namespace android {

// Debian's libutils declares statusToString(), but has no such function.
std::string statusToString(status_t status) {
    static const auto* const names = new std::map<status_t, const char*>{
            {BAD_TYPE, "BAD_TYPE"},
            {BAD_VALUE, "BAD_VALUE"},
            {DEAD_OBJECT, "DEAD_OBJECT"},
            {FAILED_TRANSACTION, "FAILED_TRANSACTION"},
            {NO_MEMORY, "NO_MEMORY"},
            {NOT_ENOUGH_DATA, "NOT_ENOUGH_DATA"},
            {UNEXPECTED_NULL, "UNEXPECTED_NULL"},
            {UNKNOWN_ERROR, "UNKNOWN_ERROR"},
            {UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
    };
    auto it = names->find(status);
    if (it != names->end()) return it->second;
    return std::to_string(status) + " (" + strerror(static_cast<int>(-int64_t{status})) + ")";
}

namespace hardware {

namespace {

std::string exceptionName(int32_t exception) {
    static const auto* const names = new std::map<int32_t, const char*>{
            {Status::EX_NONE, "EX_NONE"},
            {Status::EX_SECURITY, "EX_SECURITY"},
            {Status::EX_BAD_PARCELABLE, "EX_BAD_PARCELABLE"},
            {Status::EX_ILLEGAL_ARGUMENT, "EX_ILLEGAL_ARGUMENT"},
            {Status::EX_NULL_POINTER, "EX_NULL_POINTER"},
            {Status::EX_ILLEGAL_STATE, "EX_ILLEGAL_STATE"},
            {Status::EX_NETWORK_MAIN_THREAD, "EX_NETWORK_MAIN_THREAD"},
            {Status::EX_UNSUPPORTED_OPERATION, "EX_UNSUPPORTED_OPERATION"},
            {Status::EX_HAS_REPLY_HEADER, "EX_HAS_REPLY_HEADER"},
            {Status::EX_TRANSACTION_FAILED, "EX_TRANSACTION_FAILED"},
    };
    auto it = names->find(exception);
    return it != names->end() ? it->second : std::to_string(exception);
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
    if (mError != OK) text += statusToString(mError) + ": ";
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
}  // namespace hardware
}  // namespace android
