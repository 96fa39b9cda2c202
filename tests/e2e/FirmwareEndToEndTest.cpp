// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Firmware upgrades, download modes and recovery, from a call to the cover's new version.
#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr char kControl[] = "virtual_mcu_firmware_write=";
constexpr char kCover[] = "3e91:6a2f TQC330R BV33021030001";
constexpr char kLoader[] = "0483:df11 TQC330R 00000000001A";
constexpr char kBrokenLoader[] = "0483:df11 TQC330R 00000000001B";
constexpr char kStarted[] = R"("status":"FAIL")";
constexpr char kCurrent[] = R"("status":"OK")";

class FirmwareEndToEndTest : public ProgramsTest {
  protected:
    // With an upgrade that takes this long, and the attach done to its end.
    void startCover(const std::string& upgradeMs = "100",
                    const std::vector<std::string>& program = {bin(kService)}) {
        startPhone({"--firmware-version", "AB-1_20210312"}, program);
        ctl({"cover", "--upgrade-delay-ms", "20", "--upgrade-ms", upgradeMs});
        awaitAttachDone();
        mark = entries().size();
    }

    // What happened since `mark`, in order: numbers for the kernel's driver, its reports of an
    // upgrade without the progress, and arrivals on the USB bus.
    std::vector<std::string> happened() const {
        std::vector<std::string> happened;
        const std::vector<JournalEntry> all = entries();
        for (size_t i = mark; i < all.size(); ++i) {
            const JournalEntry& entry = all[i];
            if (entry.kind == "attach" || (entry.kind == "upgrade" && entry.note.back() != '%')) {
                happened.push_back(entry.note);
            } else if (entry.deed().starts_with(kControl)) {
                happened.push_back(entry.deed().substr(sizeof(kControl) - 1));
            }
        }
        return happened;
    }

    // Waits until the service has brought the cover up once more. Whoever speaks to it before may
    // be faster than the service, and wait for an answer in vain.
    void awaitBack() { awaitLog("status = ", ++mAttachments); }

    // The number of a detach comes at any time: another thread writes it.
    static std::vector<std::string> withoutCancel(std::vector<std::string> happened) {
        std::erase(happened, "0");
        std::erase(happened, "not cancelled: the loader is entered");
        return happened;
    }

    // The percents that the driver reported since `mark`, with the image's file name.
    std::vector<std::string> progress() const {
        std::vector<std::string> progress;
        const std::vector<JournalEntry> all = entries();
        for (size_t i = mark; i < all.size(); ++i) {
            if (all[i].kind == "upgrade" && all[i].note.back() == '%') {
                progress.push_back(all[i].path + " " + all[i].note);
            }
        }
        return progress;
    }

    void awaitHappened(const std::string& what) const {
        await([&] {
            const std::vector<std::string> all = happened();
            return std::find(all.begin(), all.end(), what) != all.end();
        });
    }

    std::string check() const { return call({"checkFirmwareVersion"}).out; }
    std::string valueOf(const std::string& method) const {
        std::string out = call({method}).out;
        const size_t at = out.find("\"value\":\"");
        if (at == std::string::npos) return out;
        const size_t begin = at + 9;
        return out.substr(begin, out.find('"', begin) - begin);
    }

    size_t mark = 0;

  private:
    size_t mAttachments = 1;
};

TEST_F(FirmwareEndToEndTest, ANewerImageUpgradesTheCoverTwiceInARow) {
    startCover();
    for (const std::string key : {"AB-2", "AB-3"}) {
        const std::string version = key + "_20220101";
        ctl({"firmware", "put", version + ".dfu"});
        ctl({"firmware", "put", "AC-9_20290101.dfu"});
        mark = entries().size();
        // Meant: a started upgrade is reported as FAIL.
        EXPECT_THAT(check(), HasSubstr(kStarted));
        EXPECT_EQ(valueOf("getFirmwareFile"), version + ".dfu");
        awaitBack();
        EXPECT_THAT(happened(), testing::Contains("0")) << "each detach cancels";
        EXPECT_THAT(withoutCancel(happened()), ElementsAre("1", "started", kLoader, kCover));
        EXPECT_EQ(progress().size(), 11u);
        EXPECT_EQ(progress().front(), version + ".dfu 0%");
        EXPECT_EQ(progress().back(), version + ".dfu 100%");
        EXPECT_EQ(valueOf("getFirmwareVersion"), version);
        EXPECT_THAT(check(), HasSubstr(kCurrent));
        EXPECT_EQ(count(log(), "usbDeviceAdded : normal dload mode"), key == "AB-2" ? 1u : 2u);
    }
    EXPECT_EQ(count(log(), "usbDeviceAdded : error dload mode"), 0u);
}

TEST_F(FirmwareEndToEndTest, APersonIsToldWhatCameOfACheck) {
    startCover();
    const auto friendlyCheck = [this] { return run({bin("bivistactl"), "firmware", "check"}); };

    Outcome outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("the phone has no image"));
    EXPECT_EQ(valueOf("getFirmwareFile"), "");

    ctl({"firmware", "put", "AB-1_20220101.dfu"});
    outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("the cover is current"));
    EXPECT_EQ(valueOf("getFirmwareFile"), "AB-1_20220101.dfu");

    ctl({"firmware", "clear"});
    ctl({"firmware", "put", "AC-2_x.dfu"});
    outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("AC-2_x.dfu"));
    EXPECT_THAT(outcome.err, HasSubstr("no upgrade was started"));
    EXPECT_EQ(valueOf("getFirmwareFile"), "AC-2_x.dfu");

    ctl({"fault", "node /system_ext/etc/dfu missing"});
    outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("no upgrade was started"));
    EXPECT_EQ(valueOf("getFirmwareFile"), "AC-2_x.dfu");
    EXPECT_EQ(count(log(), "DIR open fail"), 1u);
    ctl({"fault", "--clear"});

    ctl({"fault", "on AT%SWV error"});
    outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("nothing was checked"));
    EXPECT_THAT(check(), HasSubstr(kStarted)) << "reported the same";
    EXPECT_THAT(log(), HasSubstr("checkFirmwareVersion: AT command failed"));
    EXPECT_EQ(valueOf("getFirmwareFile"), "AC-2_x.dfu");
    ctl({"fault", "--clear"});
    EXPECT_THAT(happened(), IsEmpty());

    ctl({"firmware", "put", "AB-2_x.dfu"});
    outcome = friendlyCheck();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "cover         AB-1_20210312\n"
              "image         AB-2_x.dfu\n"
              "result        the upgrade was started\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(valueOf("getFirmwareFile"), "AB-2_x.dfu");
    awaitBack();
    EXPECT_EQ(run({bin("bivistactl"), "firmware", "version"}).out, "AB-2_x\n");
}

TEST_F(FirmwareEndToEndTest, AnUpgradeIsFollowedUntilTheCoverIsBack) {
    startCover("86400000");
    ctl({"firmware", "put", "AB-2_x.dfu"});
    ASSERT_EQ(run({bin("bivistactl"), "dump", "--reset"}).status, 0);
    Process waiting({bin("bivistactl"), "firmware", "check", "--wait"});
    await([&] { return count(waiting.out(), "loader seen") == 1; });
    // The rest of it is done when the cover comes again.
    ctl({"loader", "detach"});
    ctl({"cover", "--upgrade-ms", "100"});
    ctl({"attach"});
    const Outcome outcome = waiting.outcome();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, MatchesRegex("cover         AB-1_20210312\n"
                                          "image         AB-2_x\\.dfu\n"
                                          "result        the upgrade was started\n"
                                          "started       [0-9.]+ s\n"
                                          "cover gone    [0-9.]+ s\n"
                                          "loader seen   [0-9.]+ s\n"
                                          "cover back    [0-9.]+ s, AB-2_x\n"));
    EXPECT_THAT(run({bin("bivistactl"), "dump", "--json"}).out, HasSubstr(R"("refused":0,)"))
            << "no cover was asked that was not there";
}

TEST_F(FirmwareEndToEndTest, AnUpgradeCanBeAskedForWithoutACheck) {
    startCover();
    ctl({"firmware", "put", "AB-0_old.dfu"});
    EXPECT_EQ(call({"doFirmwareUpgrade"}).status, 0);
    awaitBack();
    EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-0_old");
}

TEST_F(FirmwareEndToEndTest, AnUpgradeIsCancelledBeforeTheLoaderIsEntered) {
    startCover();
    ctl({"cover", "--upgrade-delay-ms", "86400000"});
    ctl({"firmware", "put", "AB-2_x.dfu"});
    EXPECT_EQ(call({"doFirmwareUpgrade"}).status, 0);
    // Meanwhile the cover answers.
    EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-1_20210312");
    EXPECT_EQ(call({"cancelFirmwareUpgrade"}).status, 0);
    awaitHappened("cancelled");
    EXPECT_THAT(happened(), ElementsAre("1", "started", "0", "cancelled"));
    EXPECT_TRUE(isCoverReady());
}

TEST_F(FirmwareEndToEndTest, ACoverInErrorIsRecoveredTwiceInARow) {
    startCover();
    ctl({"firmware", "put", "AB-2_x.dfu"});
    for (size_t i = 1; i <= 2; ++i) {
        mark = entries().size();
        ctl({"loader", "error"});
        awaitBack();
        EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-2_x");
        EXPECT_EQ(progress().size(), 11u);
        EXPECT_EQ(count(log(), "usbDeviceAdded : error dload mode"), i);
        EXPECT_EQ(count(log(), "usbDeviceAdded: doRecoveryUpgrade called"), i);
        EXPECT_THAT(withoutCancel(happened()), ElementsAre(kBrokenLoader, "6", "started", kCover));
    }
}

TEST_F(FirmwareEndToEndTest, ACoverInErrorWaitsForAnImage) {
    startCover();
    ctl({"loader", "error"});
    awaitHappened("refused: no image for this cover");
    EXPECT_THAT(call({"getBV2Connect"}).out, HasSubstr("false"));
    ctl({"firmware", "put", "AB-2_x.dfu"});
    // Taken off and put on again, as a person would.
    ctl({"loader", "detach"});
    ctl({"loader", "error"});
    awaitBack();
    EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-2_x");
}

TEST_F(FirmwareEndToEndTest, ACoverThatIsPulledOffInMidUpgradeIsRecovered) {
    startCover("86400000");
    ctl({"firmware", "put", "AB-2_x.dfu"});
    EXPECT_EQ(call({"doFirmwareUpgrade"}).status, 0);
    await([this] { return !progress().empty(); });
    ctl({"loader", "detach"});
    ctl({"cover", "--upgrade-ms", "100"});
    ctl({"attach"});
    awaitHappened(kBrokenLoader);
    awaitBack();
    EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-2_x");
    EXPECT_EQ(count(log(), "usbDeviceAdded: doRecoveryUpgrade called"), 1u);
}

TEST_F(FirmwareEndToEndTest, DownloadModesBringUpTheLoader) {
    startCover();
    size_t detaches = 0;
    for (const std::string method : {"goDload", "goSTMDload"}) {
        mark = entries().size();
        EXPECT_EQ(call({method}).status, 0);
        awaitHappened(kLoader);
        awaitLog("usbDeviceAdded : normal dload mode", ++detaches);
        awaitNoCover();
        EXPECT_THAT(happened(), Not(testing::Contains("6")));
        EXPECT_THAT(progress(), IsEmpty());
        ctl({"loader", "leave"});
        awaitBack();
    }
}

TEST_F(FirmwareEndToEndTest, AServiceThatIsKilledDuringAnUpgradeMeetsTheNewFirmware) {
    startCover("1000", {"/bin/sh", "-c", "while :; do " + bin(kService) + "; done"});
    ctl({"firmware", "put", "AB-2_x.dfu"});
    EXPECT_EQ(call({"doFirmwareUpgrade"}).status, 0);
    await([this] { return !progress().empty(); });
    ASSERT_EQ(kill(servicePid(), SIGKILL), 0);
    awaitBack();
    EXPECT_EQ(valueOf("getFirmwareVersion"), "AB-2_x");
    EXPECT_EQ(count(log(), "Bivista HAL Ready."), 2u);
}

}  // namespace
}  // namespace e2e
