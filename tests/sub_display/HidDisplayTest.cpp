// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Transfers to and from the sub display's panel, and its node coming and going.
#include <cerrno>
#include <memory>
#include <thread>

#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class HidDisplayTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        start();
        attachPanel();
        awaitIdle();
        mFrom = journal.next();
        log.clear();
    }

    // What the panel saw since the attach.
    std::vector<Kind> calls() const { return kinds(transfers(mFrom)); }
    std::vector<std::string> reports() const { return bytes(transfers(Kind::HidWrite, mFrom)); }
    std::vector<phone::Entry> since(Kind kind) const { return transfers(kind, mFrom); }

    // Bytes that all differ from their neighbours, in a buffer that ends with them.
    static std::unique_ptr<uint8_t[]> makeData(size_t size) {
        auto data = std::make_unique<uint8_t[]>(size);
        for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(i * 7 + i / 256);
        return data;
    }
    static std::string text(const uint8_t* data, size_t size) {
        return {reinterpret_cast<const char*>(data), size};
    }
    // An output report.
    static std::string report(uint16_t length, uint32_t offset, const std::string& data) {
        std::string bytes = {2, static_cast<char>(length), static_cast<char>(length >> 8)};
        for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(offset >> shift);
        return bytes + data;
    }

  private:
    uint64_t mFrom = 0;
};

TEST_F(HidDisplayTest, FourThousandAndEightyNineBytesAreOneReport) {
    const auto data = makeData(4089);
    EXPECT_EQ(service->hidDisplayPalette(4089, 0, data.get()), 4089);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 0, text(data.get(), 4089))));
    EXPECT_THAT(reports().at(0), SizeIs(4096));
}

TEST_F(HidDisplayTest, OneByteMoreIsASecondReport) {
    const auto data = makeData(4090);
    EXPECT_EQ(service->hidDisplayPalette(4090, 0x345, data.get()), 4090);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 0x345, text(data.get(), 4089)),
                                       report(1, 0x345 + 4089, text(data.get() + 4089, 1))));
    EXPECT_THAT(reports().at(1), SizeIs(8));
}

TEST_F(HidDisplayTest, AFrameIsThreeReports) {
    const auto data = makeData(8192);
    EXPECT_EQ(service->hidDisplayPalette(8192, 0, data.get()), 8192);
    EXPECT_THAT(reports(), ElementsAre(SizeIs(4096), SizeIs(4096), SizeIs(21)));
    EXPECT_EQ(reports().at(1), report(4089, 4089, text(data.get() + 4089, 4089)));
    EXPECT_EQ(reports().at(2), report(14, 8178, text(data.get() + 8178, 14)));
}

// More than a panel has room for.
TEST_F(HidDisplayTest, TheLongestPaletteGoesOutWhole) {
    std::string taken;
    support::takeWrites(&taken);
    const auto data = makeData(65535);
    EXPECT_EQ(service->hidDisplayPalette(65535, 65535, data.get()), 65535);
    support::takeWrites(nullptr);
    std::string expected;
    // Offsets have 32 bits.
    for (uint32_t at = 0; at < 65535; at += 4089) {
        const auto size = static_cast<uint16_t>(std::min(4089u, 65535 - at));
        expected += report(size, 65535 + at, text(data.get() + at, size));
    }
    EXPECT_EQ(taken, expected);
}

TEST_F(HidDisplayTest, NothingIsOneEmptyReport) {
    EXPECT_EQ(service->hidDisplayPalette(0, 0, nullptr), 0);
    EXPECT_THAT(reports(), ElementsAre(report(0, 0, "")));
    EXPECT_THAT(reports().at(0), SizeIs(7));
}

TEST_F(HidDisplayTest, EachPaletteOpensTheNodeAnew) {
    const auto data = makeData(4090);
    service->hidDisplayPalette(4090, 0, data.get());
    service->hidDisplayPalette(0, 0, nullptr);
    EXPECT_THAT(calls(), ElementsAre(Kind::HidOpen, Kind::HidWrite, Kind::HidWrite, Kind::HidClose,
                                     Kind::HidOpen, Kind::HidWrite, Kind::HidClose));
    EXPECT_THAT(since(Kind::HidOpen).at(0).note, StartsWith("O_WRONLY|O_NONBLOCK"));
}

TEST_F(HidDisplayTest, ReadsTheInfoReport) {
    hid_display_report_info info = {};
    EXPECT_EQ(service->hidDisplayGetInfo(&info), 7);
    EXPECT_EQ(info.report_id, 2);
    EXPECT_EQ(uint16_t{info.x}, 128);
    EXPECT_EQ(uint16_t{info.y}, 128);
    EXPECT_EQ(info.format, 4);
    EXPECT_EQ(info.ready, 1);
    EXPECT_EQ(support::lastRequest(), 0xc0074807);
    EXPECT_THAT(calls(), ElementsAre(Kind::HidOpen, Kind::HidGet, Kind::HidClose));
    EXPECT_THAT(since(Kind::HidOpen).at(0).note, StartsWith("O_RDONLY|O_NONBLOCK"));
}

TEST_F(HidDisplayTest, AsksForTheInfoReportWhateverTheRecordHeld) {
    // The journal shows what was asked for where there is no answer.
    setFault("hid info error EPIPE");
    hid_display_report_info info = {9, 1, 2, 3, 4};
    service->hidDisplayGetInfo(&info);
    EXPECT_EQ(since(Kind::HidGet).at(0).bytes, "\2");
}

struct Config {
    const char* name;
    bool flag;
    bool power;
    uint8_t brightness;
    std::string report;
};
class ConfigTest : public HidDisplayTest, public testing::WithParamInterface<Config> {};

TEST_P(ConfigTest, IsOneFeatureReport) {
    const Config& config = GetParam();
    EXPECT_EQ(service->hidDisplaySetConfig(config.flag, config.power, config.brightness), 3);
    EXPECT_THAT(calls(), ElementsAre(Kind::HidOpen, Kind::HidSet, Kind::HidClose));
    EXPECT_THAT(since(Kind::HidOpen).at(0).note, StartsWith("O_WRONLY|O_NONBLOCK"));
    EXPECT_EQ(since(Kind::HidSet).at(0).bytes, config.report);
    EXPECT_EQ(support::lastRequest(), 0xc0034806);
}

INSTANTIATE_TEST_SUITE_P(Values, ConfigTest,
                         testing::Values(Config{"Off", false, false, 0, std::string("\3\0\0", 3)},
                                         Config{"On", false, true, 90, "\3\2Z"},
                                         Config{"FlagAlone", true, false, 1, "\3\1\1"},
                                         Config{"All", true, true, 255, "\3\3\xFF"}),
                         [](const auto& info) { return info.param.name; });

// A transfer that fails, and its log line.
struct Failure {
    const char* name;
    std::string fault;
    int32_t (*transfer)(Bivista& service);
    const char* line;
};
class FailureTest : public HidDisplayTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailureTest, IsReportedOnce) {
    setFault(GetParam().fault);
    EXPECT_EQ(GetParam().transfer(*service), -1);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(GetParam().line)));
    EXPECT_EQ(since(Kind::HidClose).size(), GetParam().fault.starts_with("hid open") ? 0u : 1u);
}

int32_t getInfo(Bivista& service) {
    hid_display_report_info info = {};
    return service.hidDisplayGetInfo(&info);
}
int32_t setConfig(Bivista& service) {
    return service.hidDisplaySetConfig(false, true, 90);
}
int32_t sendPalette(Bivista& service) {
    static const uint8_t data[8192] = {};
    return service.hidDisplayPalette(8192, 0, data);
}

INSTANTIATE_TEST_SUITE_P(
        Transfers, FailureTest,
        testing::Values(
                Failure{"InfoCannotBeOpened", "hid open error EACCES", getInfo,
                        "hidDisplayGetInfo: failed to open \"/dev/hidraw0\": Permission denied"},
                Failure{"ConfigCannotBeOpened", "hid open error EBUSY", setConfig,
                        "hidDisplaySetConfig: failed to open \"/dev/hidraw0\": Device or resource "
                        "busy"},
                Failure{"PaletteCannotBeOpened", "hid open error ENODEV", sendPalette,
                        "hidDisplayPalette: failed to open \"/dev/hidraw0\": No such device"},
                Failure{"InfoIsRefused", "hid info error EPIPE", getInfo,
                        "hidDisplayGetInfo: failed to get info: Broken pipe"},
                Failure{"ConfigIsRefused", "hid config error EPIPE", setConfig,
                        "hidDisplaySetConfig: failed to set config: Broken pipe"},
                Failure{"PaletteFails", "hid write error EIO", sendPalette,
                        "hidDisplayPalette: failed to write palette: Input/output error"},
                Failure{"PaletteTimesOut", "hid write error ETIMEDOUT", sendPalette,
                        "hidDisplayPalette: failed to write palette: Connection timed out"},
                Failure{"PaletteIsCutOff", "hid write error EPROTO", sendPalette,
                        "hidDisplayPalette: failed to write palette: Protocol error"}),
        [](const auto& info) { return info.param.name; });

TEST_F(HidDisplayTest, APaletteThatFailsMidwayStopsThere) {
    const auto data = makeData(8192);
    support::hold(HidCall::Write);
    std::thread sender([&] { EXPECT_EQ(service->hidDisplayPalette(8192, 0, data.get()), -1); });
    support::awaitHeld();
    unplugPanel();
    sender.join();
    EXPECT_THAT(reports(), SizeIs(1));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "hidDisplayPalette: failed to write palette: No such device"));
    EXPECT_EQ(calls().back(), Kind::HidClose);
}

TEST_F(HidDisplayTest, GoesOnWhereThePanelStopped) {
    const auto data = makeData(5000);
    setFault("hid write short 107 times 1");
    setFault("hid write short 8 after 2 times 1");
    EXPECT_EQ(service->hidDisplayPalette(5000, 10, data.get()), 5000);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 10, text(data.get(), 4089)),
                                       report(4089, 110, text(data.get() + 100, 4089)),
                                       report(811, 4199, text(data.get() + 4189, 811)),
                                       report(810, 4200, text(data.get() + 4190, 810))));
}

TEST_F(HidDisplayTest, AHeaderAloneIsNoProgress) {
    const auto data = makeData(100);
    setFault("hid write short 7 times 2");
    EXPECT_EQ(service->hidDisplayPalette(100, 0, data.get()), 100);
    EXPECT_THAT(reports(), ElementsAre(report(100, 0, text(data.get(), 100)),
                                       report(100, 0, text(data.get(), 100)),
                                       report(100, 0, text(data.get(), 100))));
}

// Meant: the bytes that a panel takes less than a header count as taken back.
TEST_F(HidDisplayTest, NeverReadsBeforeTheData) {
    const auto data = makeData(100);
    setFault("hid write short 3 times 1");
    EXPECT_EQ(service->hidDisplayPalette(100, 50, data.get()), 100);
    ASSERT_THAT(reports(), SizeIs(2));
    EXPECT_EQ(reports().at(1).substr(0, 7), report(104, 46, ""));
    EXPECT_EQ(reports().at(1).substr(11), text(data.get(), 100));
}

// A node that takes more than it was given is broken; nothing is read beyond the data for it.
TEST_F(HidDisplayTest, NeverReadsBehindTheData) {
    const auto data = makeData(10);
    std::string taken;
    support::takeWrites(&taken, 8010);
    EXPECT_EQ(service->hidDisplayPalette(10, 0, data.get()), 10);
    support::takeWrites(nullptr);
    // 10 - (8010 - 7) in 16 bits, then to the end of these.
    EXPECT_EQ(taken.substr(17, 7), report(4089, 8003, ""));
    const size_t left = 65536 - 7993;
    EXPECT_THAT(taken, SizeIs(17 + left + 7 * ((left + 4088) / 4089)));
}

TEST_F(HidDisplayTest, ASecondAdditionIsIgnored) {
    EXPECT_EQ(service->hidDisplayDeviceAdded(), 0);
    EXPECT_THAT(log.texts(), ElementsAre("hidDisplayDeviceAdded: attached:1"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(HidDisplayTest, ASecondRemovalIsIgnored) {
    detachPanel();
    log.clear();
    EXPECT_EQ(service->hidDisplayDeviceRemoved(), 0);
    EXPECT_THAT(log.texts(), ElementsAre("hidDisplayDeviceRemoved: attached:0"));
}

TEST_F(HidDisplayTest, APaletteAndAConfigurationNeverMix) {
    constexpr int kTimes = 200;
    const auto data = makeData(8192);
    std::thread client([&] {
        for (int i = 0; i < kTimes; ++i) service->hidDisplaySetConfig(false, true, 1);
    });
    for (int i = 0; i < kTimes; ++i) service->hidDisplayPalette(8192, 0, data.get());
    client.join();
    std::vector<Kind> transfer;
    for (const Kind call : calls()) {
        transfer.push_back(call);
        if (call != Kind::HidClose) continue;
        EXPECT_THAT(transfer, AnyOf(ElementsAre(Kind::HidOpen, Kind::HidSet, Kind::HidClose),
                                    ElementsAre(Kind::HidOpen, Kind::HidWrite, Kind::HidWrite,
                                                Kind::HidWrite, Kind::HidClose)));
        transfer.clear();
    }
    EXPECT_THAT(transfer, IsEmpty());
    EXPECT_THAT(calls(), SizeIs(kTimes * (3 + 5)));
}

class HidAttachTest : public SubDisplayTest {};

TEST_F(HidAttachTest, ReadsTheInfoAndHandsItOn) {
    start();
    attachPanel({.x = 300, .y = 2, .format = 200, .ready = 0xFE});
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "hidDisplayDeviceAdded: attached:0");
    // The other bits of the last byte do not count.
    const size_t info =
            log.waitFor(ANDROID_LOG_DEBUG, "HID-DISPLAY: x:300 y:2 format:200 ready:0", at);
    log.waitFor("initSubDisplay ++ ", info);
}

TEST_F(HidAttachTest, FindsANodeOfAnyNumber) {
    start();
    attachPanel({.node = 17, .ready = 3});
    EXPECT_TRUE(log.contains("HID-DISPLAY: x:128 y:128 format:4 ready:1"));
    EXPECT_EQ(state(), SubScreenState::ON);
}

TEST_F(HidAttachTest, FindsANodeThatIsThereAtTheStart) {
    plugPanel();
    start();
    log.waitFor("setSubDisplayPowerState --");
    EXPECT_EQ(state(), SubScreenState::ON);
}

TEST_F(HidAttachTest, ARemovalIsSeen) {
    start();
    attachPanel();
    detachPanel();
    const size_t at = log.waitFor(ANDROID_LOG_INFO, "========== hidraw0 delete");
    const size_t removed =
            log.waitFor(ANDROID_LOG_DEBUG, "hidDisplayDeviceRemoved: attached:1", at);
    log.waitFor("deinitSubDisplay ++ ", removed);
}

TEST_F(HidAttachTest, ComesBackUnderAnotherNumber) {
    start();
    attachPanel();
    detachPanel();
    const size_t from = log.size();
    attachPanel({.node = 1});
    log.waitFor("hidDisplayDeviceAdded: attached:0", from);
    EXPECT_EQ(state(), SubScreenState::ON);
}

// Meant: the panel counts as attached although nothing is known of it.
TEST_F(HidAttachTest, APanelThatDoesNotSayItsSizeBlocksTheNextOnes) {
    start();
    setFault("hid info error EPIPE");
    plugPanel();
    log.waitFor("hidDisplayGetInfo: failed to get info: Broken pipe");
    clearFaults();
    const uint64_t from = journal.next();
    EXPECT_EQ(service->hidDisplayDeviceAdded(), 0);
    EXPECT_THAT(transfers(Kind::HidOpen, from), IsEmpty());
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);

    unplugPanel();
    log.waitFor("hidDisplayDeviceRemoved: attached:1");
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
}

TEST_F(HidAttachTest, APanelThatSaysLessLeavesTheRestZero) {
    start();
    setFault("hid info short 3");
    attachPanel();
    EXPECT_TRUE(log.contains("HID-DISPLAY: x:128 y:0 format:0 ready:0"));
}

TEST_F(HidAttachTest, TransfersWithoutAPanelFailAtTheOpen) {
    start();
    EXPECT_EQ(setConfig(*service), -1);
    EXPECT_TRUE(
            log.contains(ANDROID_LOG_ERROR,
                         "hidDisplaySetConfig: failed to open \"\": No such file or directory"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
