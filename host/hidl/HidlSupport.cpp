// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The HIDL types: hidl_string, hidl_handle, and printing.
#define LOG_TAG "host-hidl"

#include <hidl/HidlSupport.h>

#include <log/log.h>

#include <cinttypes>

namespace android::hardware {

namespace details {

void logFatal(const char* message) {
    LOG_ALWAYS_FATAL("%s", message);
}

void checkIndex(size_t index, size_t size) {
    if (index >= size) logFatal("Index out of bounds of a HIDL vector or array.");
}

std::string toHexString(uint64_t value) {
    char text[2 + 16 + 1];
    snprintf(text, sizeof(text), "0x%" PRIx64, value);
    return text;
}

}  // namespace details

// --- hidl_handle ---

hidl_handle::hidl_handle() : mHandle(nullptr), mOwnsHandle(false), mPad{} {}

hidl_handle::hidl_handle(const native_handle_t* handle) : hidl_handle() {
    mHandle = handle;
}

hidl_handle::hidl_handle(const hidl_handle& other) : hidl_handle() {
    *this = other;
}

hidl_handle::hidl_handle(hidl_handle&& other) noexcept : hidl_handle() {
    *this = std::move(other);
}

hidl_handle::~hidl_handle() {
    freeHandle();
}

hidl_handle& hidl_handle::operator=(const hidl_handle& other) {
    if (this == &other) return *this;
    freeHandle();
    if (other.mHandle == nullptr) return *this;
    mHandle = native_handle_clone(other.mHandle);
    if (mHandle == nullptr) details::logFatal("Failed to clone a native_handle in hidl_handle.");
    mOwnsHandle = true;
    return *this;
}

hidl_handle& hidl_handle::operator=(const native_handle_t* handle) {
    freeHandle();
    mHandle = handle;
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept {
    if (this == &other) return *this;
    freeHandle();
    mHandle = other.mHandle;
    mOwnsHandle = other.mOwnsHandle;
    other.mHandle = nullptr;
    other.mOwnsHandle = false;
    return *this;
}

void hidl_handle::setTo(native_handle_t* handle, bool shouldOwn) {
    freeHandle();
    mHandle = handle;
    mOwnsHandle = shouldOwn;
}

void hidl_handle::freeHandle() {
    if (mOwnsHandle && mHandle != nullptr) {
        auto* handle = const_cast<native_handle_t*>(getNativeHandle());
        native_handle_close(handle);
        native_handle_delete(handle);
    }
    mHandle = nullptr;
    mOwnsHandle = false;
}

// --- hidl_string ---

hidl_string::hidl_string() : mBuffer(""), mSize(0), mOwnsBuffer(false), mPad{} {}

hidl_string::hidl_string(const hidl_string& other) : hidl_string() {
    copyFrom(other.c_str(), other.size());
}

hidl_string::hidl_string(const char* text) : hidl_string() {
    *this = text;
}

hidl_string::hidl_string(const char* text, size_t length) : hidl_string() {
    copyFrom(text, length);
}

hidl_string::hidl_string(hidl_string&& other) noexcept : hidl_string() {
    moveFrom(other);
}

hidl_string::hidl_string(const std::string& text) : hidl_string() {
    copyFrom(text.data(), text.size());
}

hidl_string::~hidl_string() {
    clear();
}

hidl_string& hidl_string::operator=(hidl_string&& other) noexcept {
    if (this == &other) return *this;
    clear();
    moveFrom(other);
    return *this;
}

hidl_string& hidl_string::operator=(const hidl_string& other) {
    if (this == &other) return *this;
    return *this = hidl_string(other);
}

hidl_string& hidl_string::operator=(const char* text) {
    // The text may be part of this string.
    hidl_string copy;
    if (text != nullptr) copy.copyFrom(text, strlen(text));
    return *this = std::move(copy);
}

hidl_string& hidl_string::operator=(const std::string& text) {
    return *this = hidl_string(text);
}

void hidl_string::clear() {
    if (mOwnsBuffer) delete[] static_cast<const char*>(mBuffer);
    mBuffer = "";
    mSize = 0;
    mOwnsBuffer = false;
}

void hidl_string::setToExternal(const char* data, size_t size) {
    if (size > UINT32_MAX) details::logFatal("String size can't exceed 2^32 bytes.");
    if (data[size] != '\0') details::logFatal("A hidl_string must end with NUL.");
    clear();
    mBuffer = data;
    mSize = static_cast<uint32_t>(size);
}

void hidl_string::copyFrom(const char* data, size_t size) {
    if (size >= UINT32_MAX) details::logFatal("String size can't exceed 2^32 bytes.");
    if (size == 0) return;
    char* copy = new char[size + 1];
    memcpy(copy, data, size);
    copy[size] = '\0';
    mBuffer = copy;
    mSize = static_cast<uint32_t>(size);
    mOwnsBuffer = true;
}

void hidl_string::moveFrom(hidl_string& other) {
    mBuffer = other.mBuffer;
    mSize = other.mSize;
    mOwnsBuffer = other.mOwnsBuffer;
    other.mOwnsBuffer = false;
    other.clear();
}

std::ostream& operator<<(std::ostream& os, const hidl_string& text) {
    return os << std::string_view(text);
}

// --- printing ---

std::string toString(const hidl_string& text) {
    return "\"" + std::string(text) + "\"";
}

std::string toString(const void* pointer) {
    return details::toHexString(reinterpret_cast<uintptr_t>(pointer));
}

std::string toString(const hidl_handle& handle) {
    const native_handle_t* native = handle.getNativeHandle();
    if (native == nullptr) return "nullptr";
    std::string text = "[" + std::to_string(native->numFds) + " descriptors, " +
                       std::to_string(native->numInts) + " integers]{";
    for (int i = 0; i < native->numFds + native->numInts; ++i) {
        if (i > 0) text += ", ";
        text += std::to_string(native->data[i]);
    }
    return text + "}";
}

}  // namespace android::hardware
