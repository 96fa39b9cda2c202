// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The types of HIDL: strings, vectors, arrays, handles; and how they print.
//
// All of them have the layout that hidl-gen assumes, so that a structure that holds them can be
// sent as bytes. None is safe to change in one thread while another uses it.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <cutils/native_handle.h>
#include <hidl/HidlInternal.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android::hardware {

// Told of the death of a remote object's process; see IBase::linkToDeath. The proxy holds it
// weakly: keep a strong reference for as long as the news is wanted. Called on an RPC thread.
struct hidl_death_recipient : virtual public RefBase {
    virtual void serviceDied(uint64_t cookie,
                             const wp<::android::hidl::base::V1_0::IBase>& who) = 0;
};

// A native_handle_t, borrowed unless setTo() is told to own it; a copy owns duplicates.
struct hidl_handle {
    hidl_handle();
    ~hidl_handle();
    hidl_handle(const native_handle_t* handle);
    hidl_handle(const hidl_handle& other);
    hidl_handle(hidl_handle&& other) noexcept;
    hidl_handle& operator=(const hidl_handle& other);
    hidl_handle& operator=(const native_handle_t* native_handle);
    hidl_handle& operator=(hidl_handle&& other) noexcept;

    void setTo(native_handle_t* handle, bool shouldOwn = false);
    const native_handle_t* operator->() const { return mHandle; }
    operator const native_handle_t*() const { return mHandle; }
    const native_handle_t* getNativeHandle() const { return mHandle; }

  private:
    void freeHandle();

    details::hidl_pointer<const native_handle_t> mHandle;
    bool mOwnsHandle;
    [[maybe_unused]] uint8_t mPad[7];
};

// A text with a NUL behind it; it may hold NULs. Owns its bytes unless set to external ones.
struct hidl_string {
    hidl_string();
    ~hidl_string();
    hidl_string(const hidl_string& other);
    hidl_string(const char* text);
    hidl_string(const char* text, size_t length);
    hidl_string(hidl_string&& other) noexcept;
    hidl_string(const std::string& text);

    hidl_string& operator=(hidl_string&& other) noexcept;
    hidl_string& operator=(const hidl_string& other);
    hidl_string& operator=(const char* text);
    hidl_string& operator=(const std::string& text);

    operator std::string() const { return {mBuffer, mSize}; }
    operator std::string_view() const { return {mBuffer, mSize}; }

    const char* c_str() const { return mBuffer; }
    size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }
    void clear();

    // Points at bytes that outlive this; data[size] must be NUL.
    void setToExternal(const char* data, size_t size);

  private:
    void copyFrom(const char* data, size_t size);
    void moveFrom(hidl_string& other);

    details::hidl_pointer<const char> mBuffer;
    uint32_t mSize;
    bool mOwnsBuffer;
    [[maybe_unused]] uint8_t mPad[3];
};

inline bool operator==(const hidl_string& a, const hidl_string& b) {
    return std::string_view(a) == std::string_view(b);
}
inline bool operator==(const hidl_string& a, const char* b) {
    return std::string_view(a) == b;
}
inline bool operator!=(const hidl_string& a, const hidl_string& b) {
    return !(a == b);
}
inline bool operator!=(const hidl_string& a, const char* b) {
    return !(a == b);
}
inline bool operator<(const hidl_string& a, const hidl_string& b) {
    return std::string_view(a) < std::string_view(b);
}
std::ostream& operator<<(std::ostream& os, const hidl_string& text);

// Shared memory: no interface here has any, and generated code asks for the size alone.
struct hidl_memory {
    alignas(8) uint8_t opaque[40];
};

// A vector of fixed length. Owns its elements unless set to external ones.
template <typename T>
struct hidl_vec {
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    hidl_vec() : mBuffer(nullptr), mSize(0), mOwnsBuffer(false), mPad{} {}
    hidl_vec(size_t size) : hidl_vec() { allocate(size); }
    hidl_vec(const hidl_vec& other) : hidl_vec() { assign(other.begin(), other.end()); }
    hidl_vec(hidl_vec&& other) noexcept : hidl_vec() { moveFrom(other); }
    hidl_vec(std::initializer_list<T> list) : hidl_vec() { assign(list.begin(), list.end()); }
    hidl_vec(const std::vector<T>& other) : hidl_vec() { assign(other.begin(), other.end()); }
    template <typename InputIterator,
              typename = typename std::enable_if<std::is_convertible<
                      typename std::iterator_traits<InputIterator>::iterator_category,
                      std::input_iterator_tag>::value>::type>
    hidl_vec(InputIterator first, InputIterator last) : hidl_vec() {
        assign(first, last);
    }
    ~hidl_vec() { release(); }

    hidl_vec& operator=(const hidl_vec& other) {
        if (this != &other) *this = hidl_vec(other);
        return *this;
    }
    hidl_vec& operator=(hidl_vec&& other) noexcept {
        if (this != &other) {
            release();
            moveFrom(other);
        }
        return *this;
    }
    hidl_vec& operator=(const std::vector<T>& other) { return *this = hidl_vec(other); }
    hidl_vec& operator=(std::initializer_list<T> list) { return *this = hidl_vec(list); }
    operator std::vector<T>() const { return std::vector<T>(begin(), end()); }

    bool operator==(const hidl_vec& other) const {
        return std::equal(begin(), end(), other.begin(), other.end());
    }
    bool operator!=(const hidl_vec& other) const { return !(*this == other); }

    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }

    T& operator[](size_t index) {
        details::checkIndex(index, mSize);
        return static_cast<T*>(mBuffer)[index];
    }
    const T& operator[](size_t index) const {
        details::checkIndex(index, mSize);
        return static_cast<const T*>(mBuffer)[index];
    }

    iterator begin() { return mBuffer; }
    iterator end() { return data() + mSize; }
    const_iterator begin() const { return mBuffer; }
    const_iterator end() const { return data() + mSize; }

    // Keeps the first elements, value-initialises new ones.
    void resize(size_t size) {
        hidl_vec grown(size);
        std::move(begin(), begin() + std::min<size_t>(mSize, size), grown.begin());
        *this = std::move(grown);
    }

    // Points at elements that outlive this; owned ones are deleted with delete[].
    void setToExternal(T* data, size_t size, bool shouldOwn = false) {
        release();
        checkSize(size);
        mBuffer = data;
        mSize = static_cast<uint32_t>(size);
        mOwnsBuffer = shouldOwn;
    }

  private:
    static void checkSize(size_t size) {
        if (size > UINT32_MAX) details::logFatal("hidl_vec can't hold more than 2^32 elements.");
    }
    void allocate(size_t size) {
        checkSize(size);
        if (size == 0) return;
        mBuffer = new T[size]();
        mSize = static_cast<uint32_t>(size);
        mOwnsBuffer = true;
    }
    template <typename InputIterator>
    void assign(InputIterator first, InputIterator last) {
        allocate(static_cast<size_t>(std::distance(first, last)));
        std::copy(first, last, begin());
    }
    void release() {
        if (mOwnsBuffer) delete[] static_cast<T*>(mBuffer);
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = false;
    }
    void moveFrom(hidl_vec& other) {
        mBuffer = other.mBuffer;
        mSize = other.mSize;
        mOwnsBuffer = other.mOwnsBuffer;
        other.mBuffer = nullptr;
        other.mSize = 0;
        other.mOwnsBuffer = false;
    }

    details::hidl_pointer<T> mBuffer;
    uint32_t mSize;
    bool mOwnsBuffer;
    [[maybe_unused]] uint8_t mPad[3];
};

// An array of fixed size. No interface here has one of several dimensions.
template <typename T, size_t SIZE>
struct hidl_array {
    hidl_array() = default;
    hidl_array(const T* source) { std::copy(source, source + SIZE, mBuffer); }
    hidl_array(const std::array<T, SIZE>& array) : hidl_array(array.data()) {}

    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    T& operator[](size_t index) {
        details::checkIndex(index, SIZE);
        return mBuffer[index];
    }
    const T& operator[](size_t index) const {
        details::checkIndex(index, SIZE);
        return mBuffer[index];
    }
    static constexpr size_t size() { return SIZE; }
    bool operator==(const hidl_array& other) const {
        return std::equal(mBuffer, mBuffer + SIZE, other.mBuffer);
    }
    bool operator!=(const hidl_array& other) const { return !(*this == other); }

  private:
    T mBuffer[SIZE];
};

// The integer that holds flags of an enum.
template <typename E>
using hidl_bitfield = typename std::underlying_type<E>::type;

namespace details {

// The values of a generated enum. hidl-gen specialises it in headers without saying inline, which
// clang would give external linkage; so each file has a copy of its own, as g++ has anyway.
#if defined(__clang__)
namespace {
#endif
template <typename E>
constexpr std::array<E, 0> hidl_enum_values = {};
#if defined(__clang__)
}  // namespace
#endif

std::string toHexString(uint64_t value);

// Calls of a method can be watched on a debuggable phone; never here.
class HidlInstrumentor {
  public:
    HidlInstrumentor(const std::string& /*package*/, const std::string& /*interface*/) {}
    virtual ~HidlInstrumentor() = default;

  protected:
    void configureInstrumentation(bool /*log*/ = true) {}
};

}  // namespace details

// Walks the values of an enum in their order of declaration.
template <typename E>
struct hidl_enum_range {
    constexpr auto begin() const { return details::hidl_enum_values<E>.begin(); }
    constexpr auto end() const { return details::hidl_enum_values<E>.end(); }
};

std::string toString(const hidl_string& text);
std::string toString(const hidl_handle& handle);
std::string toString(const void* pointer);
inline std::string toString(bool value) {
    return value ? "true" : "false";
}

template <typename T, typename = typename std::enable_if<std::is_arithmetic<T>::value>::type>
std::string toString(T value) {
    return std::to_string(value);
}

template <typename T>
std::string toString(const hidl_vec<T>& vec);
template <typename T, size_t SIZE>
std::string toString(const hidl_array<T, SIZE>& array);

namespace details {

template <typename Sequence>
std::string sequenceToString(const Sequence& sequence) {
    std::string text = "[" + std::to_string(sequence.size()) + "]{";
    for (size_t i = 0; i < sequence.size(); ++i) {
        if (i > 0) text += ", ";
        text += toString(sequence[i]);
    }
    return text + "}";
}

}  // namespace details

template <typename T>
std::string toString(const hidl_vec<T>& vec) {
    return details::sequenceToString(vec);
}

template <typename T, size_t SIZE>
std::string toString(const hidl_array<T, SIZE>& array) {
    return details::sequenceToString(array);
}

}  // namespace android::hardware
