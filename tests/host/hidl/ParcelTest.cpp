// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Parcel: what is written is read, no address travels, and hostile words are found out.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hidl/HidlBinderSupport.h>
#include <hwbinder/Parcel.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace ::android::hardware;
using ::android::BAD_VALUE;
using ::android::NOT_ENOUGH_DATA;
using ::android::OK;
using ::android::status_t;

// What the transport does between two processes.
void carry(const ParcelContents& sent, Parcel* received) {
    ParcelContents copy = sent;
    for (int& fd : copy.descriptors) fd = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    received->setContents(std::move(copy));
}

// A vec<string> as generated code writes and reads it.
void writeTexts(const hidl_vec<hidl_string>& texts, Parcel* parcel) {
    size_t parent;
    size_t child;
    ASSERT_EQ(parcel->writeBuffer(&texts, sizeof(texts), &parent), OK);
    ASSERT_EQ(writeEmbeddedToParcel(texts, parcel, parent, 0, &child), OK);
    for (size_t i = 0; i < texts.size(); ++i) {
        ASSERT_EQ(writeEmbeddedToParcel(texts[i], parcel, child, i * sizeof(hidl_string)), OK);
    }
}

status_t readTexts(const Parcel& parcel, const hidl_vec<hidl_string>** texts) {
    size_t parent;
    size_t child;
    status_t status =
            parcel.readBuffer(sizeof(**texts), &parent, reinterpret_cast<const void**>(texts));
    if (status != OK) return status;
    status = readEmbeddedFromParcel(**texts, parcel, parent, 0, &child);
    for (size_t i = 0; status == OK && i < (*texts)->size(); ++i) {
        status = readEmbeddedFromParcel((**texts)[i], parcel, child, i * sizeof(hidl_string));
    }
    return status;
}

ParcelContents contentsOf(const hidl_vec<hidl_string>& texts) {
    Parcel parcel;
    writeTexts(texts, &parcel);
    return parcel.contents();
}

status_t readTextsFrom(const ParcelContents& contents) {
    Parcel parcel;
    carry(contents, &parcel);
    const hidl_vec<hidl_string>* texts;
    return readTexts(parcel, &texts);
}

TEST(Parcel, CarriesScalars) {
    Parcel sent;
    sent.writeBool(true);
    sent.writeInt8(-1);
    sent.writeUint8(255);
    sent.writeInt16(-2);
    sent.writeUint16(65535);
    sent.writeInt32(INT32_MIN);
    sent.writeUint32(UINT32_MAX);
    sent.writeInt64(INT64_MIN);
    sent.writeUint64(UINT64_MAX);
    sent.writeFloat(1.5f);
    sent.writeDouble(-0.25);
    Parcel received;
    carry(sent.contents(), &received);

    bool b;
    int8_t i8;
    uint8_t u8;
    int16_t i16;
    uint16_t u16;
    int32_t i32;
    uint32_t u32;
    int64_t i64;
    uint64_t u64;
    float f;
    double d;
    EXPECT_EQ(received.readBool(&b), OK);
    EXPECT_TRUE(b);
    EXPECT_EQ(received.readInt8(&i8), OK);
    EXPECT_EQ(i8, -1);
    EXPECT_EQ(received.readUint8(&u8), OK);
    EXPECT_EQ(u8, 255);
    EXPECT_EQ(received.readInt16(&i16), OK);
    EXPECT_EQ(i16, -2);
    EXPECT_EQ(received.readUint16(&u16), OK);
    EXPECT_EQ(u16, 65535);
    EXPECT_EQ(received.readInt32(&i32), OK);
    EXPECT_EQ(i32, INT32_MIN);
    EXPECT_EQ(received.readUint32(&u32), OK);
    EXPECT_EQ(u32, UINT32_MAX);
    EXPECT_EQ(received.readInt64(&i64), OK);
    EXPECT_EQ(i64, INT64_MIN);
    EXPECT_EQ(received.readUint64(&u64), OK);
    EXPECT_EQ(u64, UINT64_MAX);
    EXPECT_EQ(received.readFloat(&f), OK);
    EXPECT_EQ(f, 1.5f);
    EXPECT_EQ(received.readDouble(&d), OK);
    EXPECT_EQ(d, -0.25);
    EXPECT_EQ(received.readInt32(&i32), NOT_ENOUGH_DATA);
}

TEST(Parcel, RebuildsPointers) {
    const hidl_vec<hidl_string> sent = {"one", "", std::string("t\0wo", 4)};
    Parcel received;
    carry(contentsOf(sent), &received);
    const hidl_vec<hidl_string>* texts;
    ASSERT_EQ(readTexts(received, &texts), OK);
    EXPECT_EQ(*texts, sent);
}

TEST(Parcel, CarriesAnEmptyVec) {
    Parcel received;
    carry(contentsOf({}), &received);
    const hidl_vec<hidl_string>* texts;
    ASSERT_EQ(readTexts(received, &texts), OK);
    EXPECT_TRUE(texts->empty());
    EXPECT_EQ(texts->data(), nullptr);
}

TEST(Parcel, CarriesHandles) {
    native_handle_t* native = native_handle_create(1, 2);
    native->data[0] = memfd_create("test", MFD_CLOEXEC);
    native->data[1] = 7;
    native->data[2] = -8;
    ASSERT_EQ(write(native->data[0], "x", 1), 1);
    const hidl_handle sent(native);
    Parcel parcel;
    size_t parent;
    ASSERT_EQ(parcel.writeBuffer(&sent, sizeof(sent), &parent), OK);
    ASSERT_EQ(writeEmbeddedToParcel(sent, &parcel, parent, 0), OK);
    ASSERT_EQ(parcel.writeNativeHandleNoDup(nullptr), OK);

    Parcel received;
    carry(parcel.contents(), &received);
    native_handle_close(native);
    native_handle_delete(native);
    const hidl_handle* handle;
    ASSERT_EQ(
            received.readBuffer(sizeof(*handle), &parent, reinterpret_cast<const void**>(&handle)),
            OK);
    ASSERT_EQ(readEmbeddedFromParcel(*handle, received, parent, 0), OK);
    ASSERT_EQ((*handle)->numFds, 1);
    EXPECT_EQ((*handle)->data[1], 7);
    EXPECT_EQ((*handle)->data[2], -8);
    char byte = 0;
    EXPECT_EQ(pread((*handle)->data[0], &byte, 1, 0), 1);
    EXPECT_EQ(byte, 'x');
    const native_handle_t* none = handle->getNativeHandle();
    EXPECT_EQ(received.readNullableNativeHandleNoDup(&none), OK);
    EXPECT_EQ(none, nullptr);
}

TEST(Parcel, ClosesTheDescriptorsItReceived) {
    native_handle_t* native = native_handle_create(1, 0);
    native->data[0] = memfd_create("test", MFD_CLOEXEC);
    Parcel parcel;
    ASSERT_EQ(parcel.writeNativeHandleNoDup(native), OK);
    int copy;
    {
        Parcel received;
        carry(parcel.contents(), &received);
        copy = received.contents().descriptors[0];
        EXPECT_NE(fcntl(copy, F_GETFD), -1);
    }
    EXPECT_EQ(fcntl(copy, F_GETFD), -1);
    native_handle_close(native);
    native_handle_delete(native);
}

TEST(Parcel, NoAddressLeaves) {
    const hidl_vec<hidl_string> texts = {"first", "second"};
    for (uint64_t word : contentsOf(texts).words) {
        EXPECT_NE(word, reinterpret_cast<uintptr_t>(&texts));
        EXPECT_NE(word, reinterpret_cast<uintptr_t>(texts.data()));
        for (const hidl_string& text : texts) {
            EXPECT_NE(word, reinterpret_cast<uintptr_t>(text.c_str()));
        }
    }
}

TEST(Parcel, NothingLeavesInThePadding) {
    Parcel parcel;
    // Makes the next words ones that were used before.
    parcel.writeUint64(UINT64_MAX);
    parcel.takeContents();
    size_t handle;
    ASSERT_EQ(parcel.writeBuffer("abc", 3, &handle), OK);
    EXPECT_EQ(parcel.contents().words.back(), 0x636261u);
}

TEST(Parcel, EmbeddedBufferNeedsRoomInItsParent) {
    Parcel parcel;
    size_t parent;
    uint64_t word = 0;
    ASSERT_EQ(parcel.writeBuffer(&word, sizeof(word), &parent), OK);
    EXPECT_EQ(parcel.writeEmbeddedBuffer("x", 1, nullptr, parent, 8), BAD_VALUE);
    EXPECT_EQ(parcel.writeEmbeddedBuffer("x", 1, nullptr, parent, 4), BAD_VALUE);
    EXPECT_EQ(parcel.writeEmbeddedBuffer("x", 1, nullptr, parent + 1, 0), BAD_VALUE);
    EXPECT_EQ(parcel.writeEmbeddedBuffer("x", 1, nullptr, parent, SIZE_MAX - 7), BAD_VALUE);
}

TEST(Parcel, TokenMustBeTheInterface) {
    Parcel sent;
    sent.writeInterfaceToken("a@1.0::IA");
    Parcel same;
    carry(sent.contents(), &same);
    EXPECT_TRUE(same.enforceInterface("a@1.0::IA"));
    Parcel other;
    carry(sent.contents(), &other);
    EXPECT_FALSE(other.enforceInterface("a@1.0::IB"));
    Parcel none;
    carry({}, &none);
    EXPECT_FALSE(none.enforceInterface("a@1.0::IA"));
}

// Where the words of contentsOf({"text"}) are.
constexpr size_t kVecSize = 3 + 1;
constexpr size_t kChildLength = 5;
constexpr size_t kChildParent = 6;
constexpr size_t kChildOffset = 7;
constexpr size_t kStringSize = 9;
constexpr size_t kTextWord = 13;

TEST(ParcelOfAHostilePeer, IsReadWhenItIsHonest) {
    EXPECT_EQ(readTextsFrom(contentsOf({"text"})), OK);
}

TEST(ParcelOfAHostilePeer, CannotEndEarly) {
    const ParcelContents honest = contentsOf({"text"});
    for (size_t length = 0; length < honest.words.size(); ++length) {
        ParcelContents cut = honest;
        cut.words.resize(length);
        EXPECT_NE(readTextsFrom(cut), OK) << length;
    }
}

TEST(ParcelOfAHostilePeer, CannotLieAboutABuffer) {
    for (size_t position : {kVecSize, kChildLength, kChildParent, kChildOffset, kStringSize}) {
        for (uint64_t lie : {uint64_t{2}, uint64_t{0x7fffffff}, UINT64_MAX, UINT64_MAX - 7}) {
            ParcelContents contents = contentsOf({"text"});
            contents.words[position] = lie;
            EXPECT_NE(readTextsFrom(contents), OK) << position << " " << lie;
        }
    }
}

TEST(ParcelOfAHostilePeer, CannotLeaveOutTheNulOfAString) {
    ParcelContents contents = contentsOf({"text"});
    memset(&contents.words[kTextWord], 'x', sizeof(uint64_t));
    EXPECT_EQ(readTextsFrom(contents), BAD_VALUE);
}

TEST(ParcelOfAHostilePeer, CannotGiveAnAddress) {
    ParcelContents contents = contentsOf({"text"});
    contents.words[3] = 0x4141414141414141;
    contents.words[8] = 0x4141414141414141;
    Parcel parcel;
    carry(contents, &parcel);
    const hidl_vec<hidl_string>* texts;
    ASSERT_EQ(readTexts(parcel, &texts), OK);
    EXPECT_EQ((*texts)[0], "text");
}

TEST(ParcelOfAHostilePeer, CannotMakeATypeOwnItsBytes) {
    ParcelContents contents = contentsOf({"text"});
    contents.words[kVecSize] |= uint64_t{1} << 32;
    contents.words[kStringSize] |= uint64_t{1} << 32;
    Parcel parcel;
    carry(contents, &parcel);
    const hidl_vec<hidl_string>* texts;
    ASSERT_EQ(readTexts(parcel, &texts), OK);
    // Would free memory of the parcel, if it were owned.
    const_cast<hidl_string&>((*texts)[0]).clear();
}

TEST(ParcelOfAHostilePeer, CannotReferToAnObjectThatItDidNotSend) {
    for (uint64_t position : {uint64_t{1}, UINT64_MAX}) {
        Parcel parcel;
        carry({{position}, {}, {}}, &parcel);
        ::android::sp<IBinder> object;
        EXPECT_EQ(parcel.readNullableStrongBinder(&object), BAD_VALUE);
    }
}

TEST(ParcelOfAHostilePeer, CannotLieAboutAHandle) {
    const std::vector<ParcelWords> lies = {
            {1}, {1, 1}, {1, 1, 0}, {1, UINT64_MAX, 0}, {1, 0, 1}, {1, 0, UINT64_MAX}};
    for (const auto& words : lies) {
        Parcel parcel;
        carry({words, {}, {}}, &parcel);
        const native_handle_t* handle;
        EXPECT_NE(parcel.readNullableNativeHandleNoDup(&handle), OK);
    }
}

TEST(Parcel, CarriesStatus) {
    Parcel sent;
    writeToParcel(Status::fromExceptionCode(Status::EX_SECURITY, "no"), &sent);
    writeToParcel(Status::ok(), &sent);
    Parcel received;
    carry(sent.contents(), &received);
    Status status;
    ASSERT_EQ(readFromParcel(&status, received), OK);
    EXPECT_EQ(status.exceptionCode(), Status::EX_SECURITY);
    EXPECT_STREQ(status.exceptionMessage(), "no");
    ASSERT_EQ(readFromParcel(&status, received), OK);
    EXPECT_TRUE(status.isOk());
}

}  // namespace
