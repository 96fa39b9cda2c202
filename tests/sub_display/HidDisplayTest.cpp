// Transfers to and from the sub display's panel, and its node coming and going.
#include <cerrno>
#include <memory>
#include <thread>

#include <fcntl.h>

#include "tests/sub_display/SubDisplayTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using support::Transfer;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class HidDisplayTest : public SubDisplayTest {
  protected:
    void SetUp() override {
        start();
        attachPanel();
        awaitIdle();
        mFrom = hidraw.next();
        log.clear();
    }

    // What the panel saw since the attach.
    std::vector<HidCall> calls() const {
        std::vector<HidCall> calls;
        for (const Transfer& transfer : hidraw.transfers(mFrom)) calls.push_back(transfer.call);
        return calls;
    }
    std::vector<std::string> reports() const {
        std::vector<std::string> reports;
        for (const Transfer& transfer : hidraw.transfers(HidCall::Write, mFrom)) {
            reports.push_back(transfer.bytes);
        }
        return reports;
    }
    std::vector<Transfer> since(HidCall call) const { return hidraw.transfers(call, mFrom); }

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
    size_t mFrom = 0;
};

TEST_F(HidDisplayTest, FourThousandAndEightyNineBytesAreOneReport) {
    const auto data = makeData(4089);
    EXPECT_EQ(service->hidDisplayPalette(4089, 0, data.get()), 4089);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 0, text(data.get(), 4089))));
    EXPECT_THAT(reports().at(0), SizeIs(4096));
}

TEST_F(HidDisplayTest, OneByteMoreIsASecondReport) {
    const auto data = makeData(4090);
    EXPECT_EQ(service->hidDisplayPalette(4090, 0x1234, data.get()), 4090);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 0x1234, text(data.get(), 4089)),
                                       report(1, 0x1234 + 4089, text(data.get() + 4089, 1))));
    EXPECT_THAT(reports().at(1), SizeIs(8));
}

TEST_F(HidDisplayTest, AFrameIsThreeReports) {
    const auto data = makeData(8192);
    EXPECT_EQ(service->hidDisplayPalette(8192, 0, data.get()), 8192);
    EXPECT_THAT(reports(), ElementsAre(SizeIs(4096), SizeIs(4096), SizeIs(21)));
    EXPECT_EQ(reports().at(1), report(4089, 4089, text(data.get() + 4089, 4089)));
    EXPECT_EQ(reports().at(2), report(14, 8178, text(data.get() + 8178, 14)));
}

TEST_F(HidDisplayTest, TheLongestPaletteGoesOutWhole) {
    const auto data = makeData(65535);
    EXPECT_EQ(service->hidDisplayPalette(65535, 65535, data.get()), 65535);
    std::string sent;
    for (const std::string& bytes : reports()) sent += bytes.substr(7);
    EXPECT_EQ(sent, text(data.get(), 65535));
    // Offsets have 32 bits.
    EXPECT_EQ(reports().back(), report(111, 65535 + 16 * 4089, text(data.get() + 65424, 111)));
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
    EXPECT_THAT(calls(), ElementsAre(HidCall::Open, HidCall::Write, HidCall::Write, HidCall::Close,
                                     HidCall::Open, HidCall::Write, HidCall::Close));
    EXPECT_EQ(since(HidCall::Open).at(0).argument & (O_ACCMODE | O_NONBLOCK),
              static_cast<unsigned long>(O_WRONLY | O_NONBLOCK));
}

TEST_F(HidDisplayTest, ReadsTheInfoReport) {
    hid_display_report_info info = {};
    EXPECT_EQ(service->hidDisplayGetInfo(&info), 7);
    EXPECT_EQ(info.report_id, 2);
    EXPECT_EQ(uint16_t{info.x}, 128);
    EXPECT_EQ(uint16_t{info.y}, 128);
    EXPECT_EQ(info.format, 4);
    EXPECT_EQ(info.ready, 1);
    EXPECT_THAT(calls(), ElementsAre(HidCall::Open, HidCall::GetFeature, HidCall::Close));
    EXPECT_EQ(since(HidCall::Open).at(0).argument & (O_ACCMODE | O_NONBLOCK),
              static_cast<unsigned long>(O_RDONLY | O_NONBLOCK));
    const Transfer request = since(HidCall::GetFeature).at(0);
    EXPECT_EQ(request.argument, 0xc0074807);
    EXPECT_EQ(request.bytes, std::string("\2\0\0\0\0\0\0", 7)) << "the report's number goes first";
}

TEST_F(HidDisplayTest, AsksForTheInfoReportWhateverTheRecordHeld) {
    hid_display_report_info info = {9, 1, 2, 3, 4};
    service->hidDisplayGetInfo(&info);
    EXPECT_EQ(since(HidCall::GetFeature).at(0).bytes, std::string("\2\1\0\2\0\3\4", 7));
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
    EXPECT_THAT(calls(), ElementsAre(HidCall::Open, HidCall::SetFeature, HidCall::Close));
    EXPECT_EQ(since(HidCall::Open).at(0).argument & (O_ACCMODE | O_NONBLOCK),
              static_cast<unsigned long>(O_WRONLY | O_NONBLOCK));
    const Transfer request = since(HidCall::SetFeature).at(0);
    EXPECT_EQ(request.argument, 0xc0034806);
    EXPECT_EQ(request.bytes, config.report);
}

INSTANTIATE_TEST_SUITE_P(Values, ConfigTest,
                         testing::Values(Config{"Off", false, false, 0, std::string("\3\0\0", 3)},
                                         Config{"On", false, true, 90, "\3\2Z"},
                                         Config{"FlagAlone", true, false, 1, "\3\1\1"},
                                         Config{"All", true, true, 255, "\3\3\xFF"}),
                         [](const auto& info) { return info.param.name; });

// A transfer that fails, and what it says.
struct Failure {
    const char* name;
    HidCall call;
    int error;
    int32_t (*transfer)(Bivista& service);
    const char* line;
};
class FailureTest : public HidDisplayTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailureTest, IsReportedOnce) {
    hidraw.refuse(GetParam().call, GetParam().error);
    EXPECT_EQ(GetParam().transfer(*service), -1);
    EXPECT_THAT(log.lines(), ElementsAre(errorLine(GetParam().line)));
    EXPECT_EQ(since(HidCall::Close).size(), GetParam().call == HidCall::Open ? 0u : 1u);
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
                Failure{"InfoCannotBeOpened", HidCall::Open, EACCES, getInfo,
                        "hidDisplayGetInfo: failed to open \"/dev/hidraw0\": Permission denied"},
                Failure{"ConfigCannotBeOpened", HidCall::Open, EBUSY, setConfig,
                        "hidDisplaySetConfig: failed to open \"/dev/hidraw0\": Device or resource "
                        "busy"},
                Failure{"PaletteCannotBeOpened", HidCall::Open, ENODEV, sendPalette,
                        "hidDisplayPalette: failed to open \"/dev/hidraw0\": No such device"},
                Failure{"InfoIsRefused", HidCall::GetFeature, EPIPE, getInfo,
                        "hidDisplayGetInfo: failed to get info: Broken pipe"},
                Failure{"ConfigIsRefused", HidCall::SetFeature, EPIPE, setConfig,
                        "hidDisplaySetConfig: failed to set config: Broken pipe"},
                Failure{"PaletteFails", HidCall::Write, EIO, sendPalette,
                        "hidDisplayPalette: failed to write palette: Input/output error"},
                Failure{"PaletteTimesOut", HidCall::Write, ETIMEDOUT, sendPalette,
                        "hidDisplayPalette: failed to write palette: Connection timed out"}),
        [](const auto& info) { return info.param.name; });

TEST_F(HidDisplayTest, APaletteThatFailsMidwayStopsThere) {
    const auto data = makeData(8192);
    hidraw.hold(HidCall::Write);
    std::thread sender([&] { EXPECT_EQ(service->hidDisplayPalette(8192, 0, data.get()), -1); });
    hidraw.awaitHeld();
    hidraw.unplug();
    sender.join();
    EXPECT_THAT(reports(), SizeIs(1));
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR,
                             "hidDisplayPalette: failed to write palette: No such device"));
    EXPECT_EQ(calls().back(), HidCall::Close);
}

TEST_F(HidDisplayTest, GoesOnWhereThePanelStopped) {
    const auto data = makeData(5000);
    hidraw.answerWrites({107, 4096, 8});
    EXPECT_EQ(service->hidDisplayPalette(5000, 10, data.get()), 5000);
    EXPECT_THAT(reports(), ElementsAre(report(4089, 10, text(data.get(), 4089)),
                                       report(4089, 110, text(data.get() + 100, 4089)),
                                       report(811, 4199, text(data.get() + 4189, 811)),
                                       report(810, 4200, text(data.get() + 4190, 810))));
}

TEST_F(HidDisplayTest, AHeaderAloneIsNoProgress) {
    const auto data = makeData(100);
    hidraw.answerWrites({7, 7});
    EXPECT_EQ(service->hidDisplayPalette(100, 0, data.get()), 100);
    EXPECT_THAT(reports(), ElementsAre(report(100, 0, text(data.get(), 100)),
                                       report(100, 0, text(data.get(), 100)),
                                       report(100, 0, text(data.get(), 100))));
}

// Meant: the bytes that a panel takes less than a header count as taken back.
TEST_F(HidDisplayTest, NeverReadsBeforeTheData) {
    const auto data = makeData(100);
    hidraw.answerWrites({3});
    EXPECT_EQ(service->hidDisplayPalette(100, 50, data.get()), 100);
    ASSERT_THAT(reports(), SizeIs(2));
    EXPECT_EQ(reports().at(1).substr(0, 7), report(104, 46, ""));
    EXPECT_EQ(reports().at(1).substr(11), text(data.get(), 100));
}

// A node that takes more than it was given is broken; nothing is read beyond the data for it.
TEST_F(HidDisplayTest, NeverReadsBehindTheData) {
    const auto data = makeData(10);
    // 10 - (8010 - 7) in 16 bits, then to the end of these.
    hidraw.answerWrites({8010});
    EXPECT_EQ(service->hidDisplayPalette(10, 0, data.get()), 10);
    EXPECT_EQ(reports().at(1).substr(0, 7), report(4089, 8003, ""));
    EXPECT_THAT(reports(), SizeIs(1 + (65536 - 7993 + 4088) / 4089));
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
    std::vector<HidCall> transfer;
    for (const HidCall call : calls()) {
        transfer.push_back(call);
        if (call != HidCall::Close) continue;
        EXPECT_THAT(transfer, AnyOf(ElementsAre(HidCall::Open, HidCall::SetFeature, HidCall::Close),
                                    ElementsAre(HidCall::Open, HidCall::Write, HidCall::Write,
                                                HidCall::Write, HidCall::Close)));
        transfer.clear();
    }
    EXPECT_THAT(transfer, IsEmpty());
    EXPECT_THAT(calls(), SizeIs(kTimes * (3 + 5)));
}

class HidAttachTest : public SubDisplayTest {};

TEST_F(HidAttachTest, ReadsTheInfoAndHandsItOn) {
    start();
    PanelOptions options;
    options.x = 300;
    options.y = 2;
    options.format = 200;
    options.ready = 0xFE;
    attachPanel(options);
    const size_t at = log.waitFor(ANDROID_LOG_DEBUG, "hidDisplayDeviceAdded: attached:0");
    // The other bits of the last byte do not count.
    const size_t info =
            log.waitFor(ANDROID_LOG_DEBUG, "HID-DISPLAY: x:300 y:2 format:200 ready:0", at);
    log.waitFor("initSubDisplay ++ ", info);
}

TEST_F(HidAttachTest, FindsANodeOfAnyNumber) {
    start();
    PanelOptions options;
    options.node = 17;
    options.ready = 3;
    attachPanel(options);
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
    PanelOptions options;
    options.node = 1;
    const size_t from = log.size();
    attachPanel(options);
    log.waitFor("hidDisplayDeviceAdded: attached:0", from);
    EXPECT_EQ(state(), SubScreenState::ON);
}

// Meant: the panel counts as attached although nothing is known of it.
TEST_F(HidAttachTest, APanelThatDoesNotSayItsSizeBlocksTheNextOnes) {
    start();
    hidraw.refuse(HidCall::GetFeature, EPIPE);
    plugPanel();
    log.waitFor("hidDisplayGetInfo: failed to get info: Broken pipe");
    hidraw.allow(HidCall::GetFeature);
    const size_t from = hidraw.next();
    EXPECT_EQ(service->hidDisplayDeviceAdded(), 0);
    EXPECT_THAT(hidraw.transfers(HidCall::Open, from), IsEmpty());
    EXPECT_EQ(state(), SubScreenState::UNINITIALIZED);

    unplugPanel();
    log.waitFor("hidDisplayDeviceRemoved: attached:1");
    attachPanel();
    EXPECT_EQ(state(), SubScreenState::ON);
}

TEST_F(HidAttachTest, APanelThatSaysLessLeavesTheRestZero) {
    start();
    PanelOptions options;
    options.infoSize = 3;
    attachPanel(options);
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
