// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The arguments or results of one call, on their way between processes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <cutils/native_handle.h>
#include <hwbinder/Binder.h>
#include <hwbinder/ParcelWords.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

namespace android::hardware {

// What a Parcel carries: 64-bit words, and beside them the objects and descriptors that the words
// refer to by position. No address is ever part of the words.
struct ParcelContents {
    ParcelWords words;
    std::vector<sp<IBinder>> objects;
    // Borrowed while writing, owned by the Parcel that reads.
    std::vector<int> descriptors;
};

// Written in order by one side, read in the same order by the other. Whatever the words hold,
// reading stays inside them: a mismatch gives BAD_VALUE or NOT_ENOUGH_DATA. Not thread-safe.
//
// A scalar takes one word. A buffer takes three (its length, the ordinal of the buffer that points
// to it, and where in that buffer the pointer is), then its bytes, padded to words. While a
// buffer is written, pointers in it become zero as their targets are added; while it is read, they
// are rebuilt from the ordinals, after these were compared with what the reader expects.
class Parcel {
  public:
    Parcel() = default;
    ~Parcel();
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    // The largest Parcel that is sent or accepted, in bytes.
    static constexpr size_t kMaxSize = 1024 * 1024;
    // The most descriptors that one Parcel can carry.
    static constexpr size_t kMaxDescriptors = 32;

    // Size of the words in bytes.
    size_t dataSize() const;

    status_t writeInterfaceToken(const char* interface);
    bool enforceInterface(const char* interface) const;

    status_t writeBool(bool value) { return writeWord(value); }
    status_t writeInt8(int8_t value) { return writeWord(static_cast<uint64_t>(value)); }
    status_t writeUint8(uint8_t value) { return writeWord(value); }
    status_t writeInt16(int16_t value) { return writeWord(static_cast<uint64_t>(value)); }
    status_t writeUint16(uint16_t value) { return writeWord(value); }
    status_t writeInt32(int32_t value) { return writeWord(static_cast<uint64_t>(value)); }
    status_t writeUint32(uint32_t value) { return writeWord(value); }
    status_t writeInt64(int64_t value) { return writeWord(static_cast<uint64_t>(value)); }
    status_t writeUint64(uint64_t value) { return writeWord(value); }
    status_t writeFloat(float value) { return writeDouble(value); }
    status_t writeDouble(double value);

    status_t readBool(bool* value) const { return readScalar(value); }
    status_t readInt8(int8_t* value) const { return readScalar(value); }
    status_t readUint8(uint8_t* value) const { return readScalar(value); }
    status_t readInt16(int16_t* value) const { return readScalar(value); }
    status_t readUint16(uint16_t* value) const { return readScalar(value); }
    status_t readInt32(int32_t* value) const { return readScalar(value); }
    status_t readUint32(uint32_t* value) const { return readScalar(value); }
    status_t readInt64(int64_t* value) const { return readScalar(value); }
    status_t readUint64(uint64_t* value) const { return readScalar(value); }
    status_t readFloat(float* value) const;
    status_t readDouble(double* value) const;

    // A text of the transport's own; NULs inside survive.
    status_t writeText(const std::string& text);
    status_t readText(std::string* text) const;

    // Copies `length` bytes. `handle` becomes the buffer's ordinal.
    status_t writeBuffer(const void* data, size_t length, size_t* handle);
    // The same for a buffer that a pointer at `parentOffset` of buffer `parentHandle` leads to.
    status_t writeEmbeddedBuffer(const void* data, size_t length, size_t* handle,
                                 size_t parentHandle, size_t parentOffset);

    // `data` points into this Parcel, 8-byte aligned; null for a length of 0.
    status_t readBuffer(size_t length, size_t* handle, const void** data) const;
    status_t readEmbeddedBuffer(size_t length, size_t* handle, size_t parentHandle,
                                size_t parentOffset, const void** data) const;

    status_t writeStrongBinder(const sp<IBinder>& object);
    status_t readNullableStrongBinder(sp<IBinder>* object) const;

    // Borrows the handle's descriptors until the Parcel was sent.
    status_t writeNativeHandleNoDup(const native_handle_t* handle);
    status_t writeEmbeddedNativeHandle(const native_handle_t* handle, size_t parentHandle,
                                       size_t parentOffset);
    // `handle` belongs to this Parcel.
    status_t readNullableNativeHandleNoDup(const native_handle_t** handle) const;
    status_t readNullableEmbeddedNativeHandle(size_t parentHandle, size_t parentOffset,
                                              const native_handle_t** handle) const;

    // For the transport: what was written; and, into a new Parcel, what came in, with its
    // descriptors.
    const ParcelContents& contents() const { return mContents; }
    void setContents(ParcelContents contents);
    // Moves the contents out. The descriptors stay with whoever owned them.
    ParcelContents takeContents();

  private:
    struct Buffer {
        size_t firstWord;
        size_t length;
    };
    struct FreeHandle {
        void operator()(native_handle_t* handle) const { native_handle_delete(handle); }
    };

    status_t writeWord(uint64_t value);
    status_t readWord(uint64_t* value) const;
    template <typename T>
    status_t readScalar(T* value) const {
        uint64_t word = 0;
        const status_t status = readWord(&word);
        if (status == OK) *value = static_cast<T>(word);
        return status;
    }
    status_t addBuffer(const void* data, size_t length, size_t* handle, uint64_t parentHandle,
                       uint64_t parentOffset);
    status_t nextBuffer(size_t length, size_t* handle, uint64_t parentHandle, uint64_t parentOffset,
                        const void** data) const;
    // Where the pointer is; null unless buffer `parentHandle` has room for one there. It becomes
    // zero: an address means nothing to the peer, and shows how this process is laid out.
    uint64_t* clearPointer(size_t parentHandle, size_t parentOffset) const;

    // Reading moves on, and rebuilds pointers, although generated code reads a const Parcel.
    mutable ParcelContents mContents;
    mutable std::vector<Buffer> mBuffers;
    mutable std::vector<std::unique_ptr<native_handle_t, FreeHandle>> mHandles;
    mutable size_t mNextWord = 0;
    mutable size_t mNextDescriptor = 0;
    bool mOwnsDescriptors = false;
};

}  // namespace android::hardware
