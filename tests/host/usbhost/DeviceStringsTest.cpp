// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "host/usbhost/DeviceStrings.h"

#include <gtest/gtest.h>
#include <linux/usbdevice_fs.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace std::string_literals;
using usbhost::decodeStringDescriptor;
using usbhost::stringInSysfs;
using usbhost::stringOverUsb;

namespace {

using Bytes = std::vector<uint8_t>;

// A string descriptor that holds these 16-bit units.
Bytes descriptorOf(std::u16string_view units) {
    Bytes bytes = {static_cast<uint8_t>(2 + 2 * units.size()), 3};
    for (char16_t unit : units) {
        bytes.push_back(static_cast<uint8_t>(unit & 0xff));
        bytes.push_back(static_cast<uint8_t>(unit >> 8));
    }
    return bytes;
}

std::string decode(const Bytes& bytes) {
    return decodeStringDescriptor(bytes.data(), bytes.size());
}

// A device that answers requests for string descriptors out of a table and stalls otherwise.
class StringDevice {
  public:
    void givenString(uint8_t index, uint16_t language, Bytes descriptor) {
        mDescriptors[{index, language}] = std::move(descriptor);
    }

    std::string ask(uint8_t index) {
        return stringOverUsb([this](usbdevfs_ctrltransfer* request) { return answer(request); },
                             index, 200);
    }

    int requests() const { return mRequests; }

  private:
    int answer(usbdevfs_ctrltransfer* request) {
        ++mRequests;
        EXPECT_EQ(0x80, request->bRequestType);
        EXPECT_EQ(6, request->bRequest);
        EXPECT_EQ(3, request->wValue >> 8);
        EXPECT_EQ(200u, request->timeout);
        auto found = mDescriptors.find({static_cast<uint8_t>(request->wValue), request->wIndex});
        if (found == mDescriptors.end()) return -1;
        size_t count = std::min<size_t>(request->wLength, found->second.size());
        memcpy(request->data, found->second.data(), count);
        return static_cast<int>(count);
    }

    std::map<std::pair<uint8_t, uint16_t>, Bytes> mDescriptors;
    int mRequests = 0;
};

class SysfsStringsTest : public testing::Test {
  protected:
    SysfsStringsTest() {
        char name[] = "/tmp/usb-sysfs-XXXXXX";
        mDevices = mkdtemp(name);
    }
    ~SysfsStringsTest() override { std::filesystem::remove_all(mDevices); }

    void givenFile(const std::string& folder, const char* file, const std::string& content) {
        std::filesystem::create_directories(mDevices + "/" + folder);
        std::ofstream(mDevices + "/" + folder + "/" + file) << content;
    }

    void givenDevice(const std::string& folder, const char* bus, const char* device) {
        givenFile(folder, "busnum", bus);
        givenFile(folder, "devnum", device);
    }

    std::string serialOf(const std::string& node) const {
        return stringInSysfs(mDevices, node, "serial");
    }

    std::string mDevices;
};

}  // namespace

TEST(StringDescriptorTest, TextBecomesUtf8) {
    EXPECT_EQ("TQC330R", decode(descriptorOf(u"TQC330R")));
    EXPECT_EQ("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
              decode(descriptorOf(u"\u00e9\u20ac\U0001f600")));
}

TEST(StringDescriptorTest, HalfASurrogatePairIsReplaced) {
    EXPECT_EQ("a\xef\xbf\xbd", decode(descriptorOf(u"a\xd83d")));
    EXPECT_EQ(
            "\xef\xbf\xbd"
            "b",
            decode(descriptorOf(u"\xd83d"
                                u"b")));
    EXPECT_EQ("\xef\xbf\xbd", decode(descriptorOf(u"\xde00")));
}

TEST(StringDescriptorTest, ANulEndsTheText) {
    EXPECT_EQ("ab", decode(descriptorOf(u"ab\0c"s)));
}

TEST(StringDescriptorTest, TheDescriptorsOwnLengthCounts) {
    Bytes bytes = descriptorOf(u"abc");
    bytes[0] = 6;
    EXPECT_EQ("ab", decode(bytes));
}

TEST(StringDescriptorTest, AShortTransferGivesWhatArrived) {
    Bytes bytes = descriptorOf(u"abc");
    bytes.resize(7);
    EXPECT_EQ("ab", decode(bytes));
}

TEST(StringDescriptorTest, WhatIsNoStringDescriptorIsEmpty) {
    EXPECT_EQ("", decode({}));
    EXPECT_EQ("", decode({2}));
    EXPECT_EQ("", decode({2, 3}));
    EXPECT_EQ("", decode({0, 3, 'a', 0}));
    EXPECT_EQ("", decode({4, 1, 'a', 0}));
}

TEST(StringOverUsbTest, AsksInTheDevicesLanguage) {
    StringDevice device;
    device.givenString(0, 0, descriptorOf(u"\x0409"));
    device.givenString(3, 0x0409, descriptorOf(u"00000000001B"));
    EXPECT_EQ("00000000001B", device.ask(3));
}

TEST(StringOverUsbTest, TriesEveryLanguage) {
    StringDevice device;
    device.givenString(0, 0, descriptorOf(u"\x0407\x0409"));
    device.givenString(3, 0x0409, descriptorOf(u"x"));
    EXPECT_EQ("x", device.ask(3));
}

TEST(StringOverUsbTest, ADeviceThatStallsHasNoString) {
    StringDevice device;
    EXPECT_EQ("", device.ask(3));
    device.givenString(0, 0, descriptorOf(u"\x0409"));
    EXPECT_EQ("", device.ask(3));
}

TEST(StringOverUsbTest, IndexZeroIsNoStringAndAsksNothing) {
    StringDevice device;
    device.givenString(0, 0, descriptorOf(u"\x0409"));
    EXPECT_EQ("", device.ask(0));
    EXPECT_EQ(0, device.requests());
}

TEST(StringOverUsbTest, GarbageForTheLanguagesIsNoString) {
    StringDevice device;
    device.givenString(0, 0, {0xff, 0xff, 0xff});
    EXPECT_EQ("", device.ask(3));
}

TEST_F(SysfsStringsTest, FindsTheFolderByBusAndDevice) {
    givenDevice("1-1", "1\n", "2\n");
    givenFile("1-1", "serial", "other\n");
    givenDevice("1-2", "1\n", "3\n");
    givenFile("1-2", "serial", "00000000001B\n");
    givenFile("1-2:1.0", "bInterfaceNumber", "00\n");
    EXPECT_EQ("00000000001B", serialOf("/dev/bus/usb/001/003"));
}

TEST_F(SysfsStringsTest, BusAndDeviceAreDecimal) {
    givenDevice("1-1", "010\n", "8\n");
    givenFile("1-1", "serial", "x\n");
    EXPECT_EQ("x", serialOf("/dev/bus/usb/010/008"));
    EXPECT_EQ("", serialOf("/dev/bus/usb/008/008"));
}

TEST_F(SysfsStringsTest, TheTextMayLackItsNewlineAndHoldBlanks) {
    givenDevice("1-1", "1", "2");
    givenFile("1-1", "serial", " a b ");
    EXPECT_EQ(" a b ", serialOf("/dev/bus/usb/001/002"));
}

TEST_F(SysfsStringsTest, AMissingOrEmptyFileIsNoString) {
    givenDevice("1-1", "1\n", "2\n");
    EXPECT_EQ("", serialOf("/dev/bus/usb/001/002"));
    givenFile("1-1", "serial", "");
    EXPECT_EQ("", serialOf("/dev/bus/usb/001/002"));
    givenFile("1-1", "serial", "\n");
    EXPECT_EQ("", serialOf("/dev/bus/usb/001/002"));
}

TEST_F(SysfsStringsTest, AFileThatIsNotTextEndsAtItsNul) {
    givenDevice("1-1", "1\n", "2\n");
    givenFile("1-1", "serial", "\xff\0tail\n"s);
    EXPECT_EQ("\xff", serialOf("/dev/bus/usb/001/002"));
}

TEST_F(SysfsStringsTest, AHugeFileIsCutAtOnePage) {
    givenDevice("1-1", "1\n", "2\n");
    givenFile("1-1", "serial", std::string(1 << 20, 'x'));
    EXPECT_EQ(std::string(4096, 'x'), serialOf("/dev/bus/usb/001/002"));
}

TEST_F(SysfsStringsTest, FoldersWithoutProperNumbersArePassedOver) {
    givenDevice("1-1", "", "2\n");
    givenDevice("1-2", "one\n", "2\n");
    givenDevice("1-3", "1 \n", "2\n");
    givenDevice("1-4", "99999999999999\n", "2\n");
    givenFile("1-4", "serial", "x\n");
    EXPECT_EQ("", serialOf("/dev/bus/usb/001/002"));
}

TEST_F(SysfsStringsTest, AFolderOrFifoInPlaceOfTheFileIsNoString) {
    givenDevice("1-1", "1\n", "2\n");
    std::filesystem::create_directory(mDevices + "/1-1/serial");
    ASSERT_EQ(0, mkfifo((mDevices + "/1-1/product").c_str(), 0600));
    EXPECT_EQ("", serialOf("/dev/bus/usb/001/002"));
    EXPECT_EQ("", stringInSysfs(mDevices, "/dev/bus/usb/001/002", "product"));
}

TEST_F(SysfsStringsTest, ANodeWithoutBusAndDeviceHasNoFolder) {
    givenDevice("1-1", "1\n", "2\n");
    givenFile("1-1", "serial", "x\n");
    for (const char* node : {"", "/", "002", "/002", "001/002/", "/dev/bus/usb/001/x"}) {
        EXPECT_EQ("", serialOf(node)) << node;
    }
}

TEST_F(SysfsStringsTest, WithoutSysfsThereIsNoString) {
    EXPECT_EQ("", stringInSysfs(mDevices + "/absent", "/dev/bus/usb/001/002", "serial"));
}
