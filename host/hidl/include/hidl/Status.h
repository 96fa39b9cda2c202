// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The outcome of a HIDL call: Status, and Return<T>, which is a Status with a value.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

#include <hidl/HidlInternal.h>
#include <hwbinder/Binder.h>
#include <hwbinder/Parcel.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

namespace android::hardware {

// OK, an exception that the callee reports, or a transport error (EX_TRANSACTION_FAILED).
class Status final {
  public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        EX_TRANSACTION_FAILED = -129,
    };

    Status() = default;
    static Status ok() { return {}; }
    static Status fromExceptionCode(int32_t exceptionCode) { return {exceptionCode, OK, ""}; }
    static Status fromExceptionCode(int32_t exceptionCode, const char* message) {
        return {exceptionCode, OK, message};
    }
    static Status fromStatusT(status_t status);

    void setException(int32_t exceptionCode, const char* message);
    void setFromStatusT(status_t status);

    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    const char* exceptionMessage() const { return mMessage.c_str(); }
    // The transport error, or OK when there was none.
    status_t transactionError() const { return mException == EX_TRANSACTION_FAILED ? mError : OK; }
    // One line for a log, such as "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '".
    std::string description() const;

  private:
    Status(int32_t exception, status_t error, const char* message)
        : mException(exception), mError(error), mMessage(message) {}

    int32_t mException = EX_NONE;
    status_t mError = OK;
    std::string mMessage;
};

std::ostream& operator<<(std::ostream& stream, const Status& status);

template <typename T>
class Return;

namespace details {

// What every Return shares. One that failed and was never examined aborts the process when it goes.
class return_status {
  public:
    return_status() = default;
    return_status(const Status& status) : mStatus(status) {}
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    return_status(return_status&& other) noexcept { takeFrom(other); }
    return_status& operator=(return_status&& other) noexcept;
    ~return_status() { checkExamined(); }

    // Whether the transport and the callee succeeded. Examines the result.
    bool isOk() const {
        mExamined = true;
        return mStatus.isOk();
    }
    // Whether the callee's process is gone. Examines the result when it is.
    bool isDeadObject() const;
    // Why the call failed, for a log. Does not examine the result.
    std::string description() const { return mStatus.description(); }

    template <typename>
    friend class ::android::hardware::Return;

  protected:
    // Aborts unless the call succeeded.
    void assertOk() const;

  private:
    void checkExamined() const {
        if (!mExamined && !mStatus.isOk()) onFailureIgnored();
    }
    [[noreturn]] void onFailureIgnored() const;
    void takeFrom(return_status& other);

    Status mStatus;
    mutable bool mExamined = false;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : mValue(std::move(value)) {}
    Return(Status status) : return_status(status), mValue{} {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    // The value; aborts when the call failed.
    operator T() const {
        assertOk();
        return mValue;
    }
    T withDefault(T fallback) { return isOk() ? mValue : fallback; }

  private:
    T mValue;
};

template <typename T>
class Return<sp<T>> : public details::return_status {
  public:
    Return(sp<T> value) : mValue(std::move(value)) {}
    Return(T* value) : mValue(value) {}
    template <typename U>
    Return(const sp<U>& value) : mValue(value) {}
    Return(Status status) : return_status(status) {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    // The object; aborts when the call failed.
    operator sp<T>() const {
        assertOk();
        return mValue;
    }
    sp<T> withDefault(const sp<T>& fallback) { return isOk() ? mValue : fallback; }

  private:
    sp<T> mValue;
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() = default;
    Return(const Status& status) : return_status(status) {}
    template <typename T>
    Return(Return<T>&& other) : return_status(std::move(static_cast<return_status&>(other))) {}
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    using return_status::assertOk;
};

inline Return<void> Void() {
    return {};
}

}  // namespace android::hardware
