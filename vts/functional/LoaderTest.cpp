// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Tests that may end in an upgrade of the cover, or in its loader, from which a person may have to
// bring it back. They run only with --allow-loader.
#include "BivistaTest.h"

namespace bivista_vts {
namespace {

class UpgradeTest : public CoverTest {
  protected:
    void SetUp() override {
        if (!options().allowLoader) GTEST_SKIP() << "it may end in an upgrade: --allow-loader";
        CoverTest::SetUp();
    }

    // Versions and names of images have the hardware line up to the first "-", and the key up to
    // the first "_". The key decides which of two is newer. The tests ignore the rest of a chosen
    // image's name: where the keys differ in length, the rest is not the name's own.
    static std::string lineOf(const std::string& text) { return text.substr(0, text.find('-')); }
    static std::string keyOf(const std::string& text) { return text.substr(0, text.find('_')); }
    static bool isNewer(const std::string& image, const std::string& version) {
        const std::string key = keyOf(version);
        return lineOf(image) == lineOf(version) && keyOf(image).compare(0, key.size(), key) > 0;
    }

    // The cover goes, and comes back.
    void expectUpgrade() const {
        ASSERT_TRUE(await([this] { return isCoverOff(); })) << "no upgrade was started";
        ASSERT_TRUE(await([this] { return isCoverOn(); })) << "the cover does not come back";
    }
};

// Each of its tests leaves the phone without a cover.
class LoaderTest : public UpgradeTest {
  protected:
    void expectToLeave(const Return<Status>& result) {
        ASSERT_EQ(statusOf(result), Status::OK);
        EXPECT_TRUE(await([this] { return isCoverOff(); }));
    }
};

TEST_P(UpgradeTest, IsStartedForANewerImageAlone) {
    const std::string version = query(&V1_0::IBivista::getFirmwareVersion).text;
    // The dump has the last order.
    statusOf(service->cancelFirmwareUpgrade());
    const Status status = statusOf(service->checkFirmwareVersion());
    const TextResult file = query(&V1_0::IBivista::getFirmwareFile);
    EXPECT_EQ(file.status, Status::OK);
    if (isNewer(file.text, version)) {
        EXPECT_EQ(status, Status::FAIL) << "also of an upgrade that was started";
        expectUpgrade();
        if (HasFatalFailure()) return;
        EXPECT_NE(query(&V1_0::IBivista::getFirmwareVersion).text, version);
        return;
    }
    if (options().with.count(kNewer) != 0) FAIL() << "no image is newer: '" << file.text << "'";
    // A cover that has an image of its line is current, and so is one without any image in the
    // folder.
    if (file.text.empty()) {
        if (options().with.count(kFolder) != 0) {
            EXPECT_EQ(status, Status::OK);
        }
    } else {
        EXPECT_EQ(status, lineOf(file.text) == lineOf(version) ? Status::OK : Status::FAIL)
                << file.text << " for " << version;
    }
    if (options().with.count(kDump) != 0) {
        const std::string dump = readDump(service.get(), {"--json"});
        EXPECT_EQ(dump.find("\"order\":\"UPGRADE\""), std::string::npos) << dump;
    }
    EXPECT_EQ(query(&V1_0::IBivista::getFirmwareVersion).text, version);
}

TEST_P(UpgradeTest, OfTheTouchFirmwareIsTheCoversAnswer) {
    EXPECT_EQ(statusOf(service->DoTouchFirmwareUpgrade()), Status::OK);
    EXPECT_EQ(send("AT").status, Status::OK);
}

TEST_P(LoaderTest, GoDloadTakesTheCoverOffTheBus) {
    expectToLeave(service->goDload());
}

TEST_P(LoaderTest, GoStmDloadTakesTheCoverOffTheBus) {
    expectToLeave(service->goSTMDload());
}

TEST_P(LoaderTest, AnUpgradeCanBeStartedAndCancelled) {
    if (statusOf(service->doFirmwareUpgrade()) != Status::OK) {
        return miss(kNodes, "the kernel offers no firmware upgrade");
    }
    EXPECT_EQ(statusOf(service->cancelFirmwareUpgrade()), Status::OK);
}

TEST_P(UpgradeTest, TakesTheCoverAwayAndBringsItBack) {
    if (options().with.count(kImage) == 0) GTEST_SKIP() << "--with=image was not given";
    ASSERT_EQ(statusOf(service->doFirmwareUpgrade()), Status::OK);
    expectUpgrade();
}

BIVISTA_PER_INSTANCE(UpgradeTest);
BIVISTA_PER_INSTANCE(LoaderTest);

}  // namespace
}  // namespace bivista_vts
