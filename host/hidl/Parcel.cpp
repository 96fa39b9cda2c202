// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Words, and what refers to them. Nothing here knows how they travel.
#include <hwbinder/Parcel.h>
#include <unistd.h>

#include <cstring>
#include <limits>

namespace android::hardware {

namespace {

constexpr size_t kWordSize = sizeof(uint64_t);
constexpr uint64_t kNoParent = std::numeric_limits<uint64_t>::max();

constexpr size_t wordsFor(size_t bytes) {
    return bytes / kWordSize + (bytes % kWordSize != 0 ? 1 : 0);
}

}  // namespace

Parcel::~Parcel() {
    if (!mOwnsDescriptors) return;
    for (int descriptor : mContents.descriptors) close(descriptor);
}

size_t Parcel::dataSize() const {
    return mContents.words.size() * kWordSize;
}

void Parcel::setContents(ParcelContents contents) {
    mContents = std::move(contents);
    mOwnsDescriptors = true;
}

ParcelContents Parcel::takeContents() {
    mOwnsDescriptors = false;
    return std::move(mContents);
}

// --- scalars ---

status_t Parcel::writeWord(uint64_t value) {
    mContents.words.push_back(value);
    return OK;
}

status_t Parcel::readWord(uint64_t* value) const {
    if (mNextWord >= mContents.words.size()) return NOT_ENOUGH_DATA;
    *value = mContents.words[mNextWord++];
    return OK;
}

status_t Parcel::writeDouble(double value) {
    uint64_t word;
    memcpy(&word, &value, sizeof(word));
    return writeWord(word);
}

status_t Parcel::readFloat(float* value) const {
    double wide;
    const status_t status = readDouble(&wide);
    if (status == OK) *value = static_cast<float>(wide);
    return status;
}

status_t Parcel::readDouble(double* value) const {
    uint64_t word;
    const status_t status = readWord(&word);
    if (status == OK) memcpy(value, &word, sizeof(word));
    return status;
}

// --- texts ---

status_t Parcel::writeText(const std::string& text) {
    if (const status_t status = writeWord(text.size()); status != OK) return status;
    return writeBuffer(text.data(), text.size(), nullptr);
}

status_t Parcel::readText(std::string* text) const {
    uint64_t size;
    if (const status_t status = readWord(&size); status != OK) return status;
    const void* data;
    if (const status_t status = readBuffer(size, nullptr, &data); status != OK) return status;
    text->assign(static_cast<const char*>(data), size);
    return OK;
}

status_t Parcel::writeInterfaceToken(const char* interface) {
    return writeText(interface);
}

bool Parcel::enforceInterface(const char* interface) const {
    std::string token;
    return readText(&token) == OK && token == interface;
}

// --- buffers ---

uint64_t* Parcel::clearPointer(size_t parentHandle, size_t parentOffset) const {
    if (parentHandle >= mBuffers.size()) return nullptr;
    const Buffer& parent = mBuffers[parentHandle];
    if (parentOffset % kWordSize != 0 || parent.length < kWordSize ||
        parentOffset > parent.length - kWordSize) {
        return nullptr;
    }
    uint64_t* pointer = &mContents.words[parent.firstWord + parentOffset / kWordSize];
    *pointer = 0;
    return pointer;
}

status_t Parcel::addBuffer(const void* data, size_t length, size_t* handle, uint64_t parentHandle,
                           uint64_t parentOffset) {
    if (length > kMaxSize) return NO_MEMORY;
    const size_t start = mContents.words.size();
    mContents.words.resize(start + 3 + wordsFor(length));
    uint64_t* words = &mContents.words[start];
    words[0] = length;
    words[1] = parentHandle;
    words[2] = parentOffset;
    if (length > 0) {
        // The padding too is seen by the peer.
        words[3 + wordsFor(length) - 1] = 0;
        memcpy(words + 3, data, length);
    }
    if (handle != nullptr) *handle = mBuffers.size();
    mBuffers.push_back({start + 3, length});
    return OK;
}

status_t Parcel::writeBuffer(const void* data, size_t length, size_t* handle) {
    return addBuffer(data, length, handle, kNoParent, 0);
}

status_t Parcel::writeEmbeddedBuffer(const void* data, size_t length, size_t* handle,
                                     size_t parentHandle, size_t parentOffset) {
    if (clearPointer(parentHandle, parentOffset) == nullptr) return BAD_VALUE;
    return addBuffer(data, length, handle, parentHandle, parentOffset);
}

status_t Parcel::nextBuffer(size_t length, size_t* handle, uint64_t parentHandle,
                            uint64_t parentOffset, const void** data) const {
    const ParcelWords& words = mContents.words;
    if (words.size() - mNextWord < 3) return NOT_ENOUGH_DATA;
    const uint64_t* header = &words[mNextWord];
    if (header[0] != length || header[1] != parentHandle || header[2] != parentOffset) {
        return BAD_VALUE;
    }
    const size_t first = mNextWord + 3;
    if (wordsFor(length) > words.size() - first) return NOT_ENOUGH_DATA;
    mNextWord = first + wordsFor(length);
    if (handle != nullptr) *handle = mBuffers.size();
    mBuffers.push_back({first, length});
    *data = length > 0 ? &words[first] : nullptr;
    return OK;
}

status_t Parcel::readBuffer(size_t length, size_t* handle, const void** data) const {
    return nextBuffer(length, handle, kNoParent, 0, data);
}

status_t Parcel::readEmbeddedBuffer(size_t length, size_t* handle, size_t parentHandle,
                                    size_t parentOffset, const void** data) const {
    uint64_t* pointer = clearPointer(parentHandle, parentOffset);
    if (pointer == nullptr) return BAD_VALUE;
    const status_t status = nextBuffer(length, handle, parentHandle, parentOffset, data);
    if (status == OK) *pointer = reinterpret_cast<uintptr_t>(*data);
    return status;
}

// --- objects ---

status_t Parcel::writeStrongBinder(const sp<IBinder>& object) {
    if (object == nullptr) return writeWord(0);
    mContents.objects.push_back(object);
    return writeWord(mContents.objects.size());
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* object) const {
    uint64_t position;
    if (const status_t status = readWord(&position); status != OK) return status;
    if (position > mContents.objects.size()) return BAD_VALUE;
    *object = position == 0 ? nullptr : mContents.objects[position - 1];
    return OK;
}

// --- handles: a word that tells null from present, then the counts, then the integers ---

status_t Parcel::writeNativeHandleNoDup(const native_handle_t* handle) {
    if (handle == nullptr) return writeWord(0);
    if (handle->numFds < 0 || handle->numInts < 0 || handle->numInts > NATIVE_HANDLE_MAX_INTS) {
        return BAD_VALUE;
    }
    const size_t numFds = static_cast<size_t>(handle->numFds);
    if (mContents.descriptors.size() + numFds > kMaxDescriptors) return BAD_VALUE;
    writeWord(1);
    writeWord(numFds);
    writeWord(static_cast<uint64_t>(handle->numInts));
    const int* integers = handle->data + handle->numFds;
    mContents.descriptors.insert(mContents.descriptors.end(), handle->data, integers);
    for (int i = 0; i < handle->numInts; ++i) writeInt32(integers[i]);
    return OK;
}

status_t Parcel::writeEmbeddedNativeHandle(const native_handle_t* handle, size_t parentHandle,
                                           size_t parentOffset) {
    if (clearPointer(parentHandle, parentOffset) == nullptr) return BAD_VALUE;
    return writeNativeHandleNoDup(handle);
}

status_t Parcel::readNullableNativeHandleNoDup(const native_handle_t** handle) const {
    uint64_t present;
    if (const status_t status = readWord(&present); status != OK) return status;
    *handle = nullptr;
    if (present == 0) return OK;

    uint64_t numFds;
    uint64_t numInts;
    if (const status_t status = readWord(&numFds); status != OK) return status;
    if (const status_t status = readWord(&numInts); status != OK) return status;
    if (numFds > mContents.descriptors.size() - mNextDescriptor ||
        numInts > NATIVE_HANDLE_MAX_INTS) {
        return BAD_VALUE;
    }
    native_handle_t* made =
            native_handle_create(static_cast<int>(numFds), static_cast<int>(numInts));
    if (made == nullptr) return NO_MEMORY;
    mHandles.emplace_back(made);
    for (uint64_t i = 0; i < numFds; ++i) made->data[i] = mContents.descriptors[mNextDescriptor++];
    for (uint64_t i = 0; i < numInts; ++i) {
        if (const status_t status = readInt32(&made->data[numFds + i]); status != OK) return status;
    }
    *handle = made;
    return OK;
}

status_t Parcel::readNullableEmbeddedNativeHandle(size_t parentHandle, size_t parentOffset,
                                                  const native_handle_t** handle) const {
    uint64_t* pointer = clearPointer(parentHandle, parentOffset);
    if (pointer == nullptr) return BAD_VALUE;
    const status_t status = readNullableNativeHandleNoDup(handle);
    if (status == OK) *pointer = reinterpret_cast<uintptr_t>(*handle);
    return status;
}

}  // namespace android::hardware
