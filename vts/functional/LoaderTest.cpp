// What may end in an upgrade of the cover, or in its loader, from which somebody may have to bring
// it back. Run only with --allow-loader.
#include "BivistaTest.h"

namespace bivista_vts {
namespace {

class UpgradeTest : public CoverTest {
  protected:
    void SetUp() override {
        if (!options().allowLoader) GTEST_SKIP() << "it may end in an upgrade: --allow-loader";
        CoverTest::SetUp();
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
    const Status status = statusOf(service->checkFirmwareVersion());
    const TextResult file = query(&V1_0::IBivista::getFirmwareFile);
    EXPECT_EQ(file.status, Status::OK);
    if (status == Status::OK) return;
    // Either the images are all of another hardware line, or an upgrade was started.
    const std::string suffix = ".dfu";
    ASSERT_GT(file.text.size(), suffix.size()) << "a phone without images has nothing to refuse";
    EXPECT_EQ(file.text.substr(file.text.size() - suffix.size()), suffix);
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

TEST_P(LoaderTest, AnUpgradeCanBeStarted) {
    if (statusOf(service->doFirmwareUpgrade()) != Status::OK) {
        return miss(kNodes, "the kernel offers no firmware upgrade");
    }
    EXPECT_EQ(statusOf(service->cancelFirmwareUpgrade()), Status::OK);
}

BIVISTA_PER_INSTANCE(UpgradeTest);
BIVISTA_PER_INSTANCE(LoaderTest);

}  // namespace
}  // namespace bivista_vts
