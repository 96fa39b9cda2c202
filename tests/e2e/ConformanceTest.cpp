// The conformance suite, as the real programs run it: the service meets it in every surrounding,
// and the suite tells when it is not run as it was meant to be.
#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ConformanceTest : public ProgramsTest {
  protected:
    Outcome runSuite(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(),
                         {BIVISTA_SOURCE_DIR "/vts/emulated.sh", bin("..")});
        return run(arguments);
    }

    // All tests pass, but those of these suites, which are skipped.
    template <typename Matcher>
    void expectConforming(const std::vector<std::string>& arguments, const Matcher& skipped) const {
        const Outcome outcome = runSuite(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr("[  PASSED  ]"));
        EXPECT_THAT(skippedSuites(outcome.out), skipped);
    }

    // Suites of which a test was skipped, each once.
    static std::vector<std::string> skippedSuites(const std::string& out) {
        static const std::string kMark = "[  SKIPPED ] PerInstance/";
        std::vector<std::string> suites;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with(kMark)) continue;
            const std::string test = line.substr(kMark.size());
            suites.push_back(test.substr(0, test.find('.')));
        }
        std::sort(suites.begin(), suites.end());
        suites.erase(std::unique(suites.begin(), suites.end()), suites.end());
        return suites;
    }
};

constexpr char kNotLoader[] = "--gtest_filter=-*LoaderTest*";
constexpr char kFirmwareWrite[] =
        "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
constexpr char kUpdateState[] = "/sys/devices/virtual/input/qmx_touch/bv_update_state";

TEST_F(ConformanceTest, HoldsWithACover) {
    startPhone();
    expectConforming({"--with=cover,panel,nodes,accessory", "--allow-loader", kNotLoader},
                     UnorderedElementsAre("NoCoverTest", "NoPanelTest"));
}

TEST_F(ConformanceTest, HoldsWithoutACover) {
    startPhone({"--no-cover"});
    expectConforming(
            {"--with=nodes,accessory", "--without=cover,panel"},
            UnorderedElementsAre("AtCommandTest", "CoverClientsTest", "FirmwareTest", "LoaderTest",
                                 "PanelTest", "PenTest", "ScreenTest", "TouchTest", "UpgradeTest"));
}

TEST_F(ConformanceTest, HoldsWithACoverThatRefusesMuch) {
    std::vector<std::string> options;
    for (const char* command :
         {"AT%TCHDEBUG=DELTA", "AT%TCHDEBUG=RESET", "AT%TCHNOTIFY=SWTICH_AES,0",
          "AT%TCHNOTIFY=SWTICH_AES,3", "AT%TCHNOTIFY=SWTICH_AES,4", "AT%TCHNOTIFY=LPWG_NOTIFY,-"}) {
        options.insert(options.end(), {"--fault", "on \"" + std::string(command) + "\" error"});
    }
    startPhone(options);
    expectConforming({"--with=cover,panel,nodes,accessory", "--allow-loader", kNotLoader},
                     UnorderedElementsAre("NoCoverTest", "NoPanelTest"));
}

TEST_F(ConformanceTest, HoldsWithACoverThatHasNoSubDisplay) {
    startPhone({"--no-hid"});
    expectConforming({"--with=cover", "--without=panel", kNotLoader},
                     UnorderedElementsAre("NoCoverTest", "PanelTest", "UpgradeTest"));
}

TEST_F(ConformanceTest, HoldsWhereTheKernelLacksItsNodes) {
    startPhone({"--fault", "node " + std::string(kFirmwareWrite) + " missing", "--fault",
                "node " + std::string(kUpdateState) + " missing"});
    const std::string filter = "--gtest_filter=*FirmwareFileTest*:*PenTest*";
    expectConforming({"--with=cover", filter}, UnorderedElementsAre("FirmwareFileTest", "PenTest"));
    const Outcome promised = runSuite({"--with=cover,nodes", filter});
    EXPECT_EQ(promised.status, 1);
    EXPECT_THAT(promised.out, HasSubstr("the kernel offers no firmware upgrade"));
    EXPECT_THAT(promised.out, HasSubstr("the kernel publishes no touch update state"));
}

TEST_F(ConformanceTest, HoldsOnTheWayIntoTheLoader) {
    startPhone();
    expectConforming({"--with=cover", "--allow-loader", "--gtest_filter=*GoDload*"}, IsEmpty());
}

TEST_F(ConformanceTest, HoldsOnTheWayIntoTheStmLoader) {
    startPhone();
    expectConforming({"--with=cover", "--allow-loader", "--gtest_filter=*GoStmDload*"}, IsEmpty());
}

TEST_F(ConformanceTest, HoldsWhereAnUpgradeIsStarted) {
    startPhone();
    expectConforming({"--with=cover,nodes", "--allow-loader", "--gtest_filter=*AnUpgradeCan*"},
                     IsEmpty());
}

TEST_F(ConformanceTest, LeavesTheLoaderAloneUnlessAllowed) {
    startPhone();
    expectConforming({"--with=cover", "--gtest_filter=*LoaderTest*:*UpgradeTest*"},
                     UnorderedElementsAre("LoaderTest", "UpgradeTest"));
    EXPECT_TRUE(isCoverReady());
    EXPECT_EQ(count(journal(), "DLOAD"), 0u);
    EXPECT_EQ(count(journal(), "FW_UPGRADE"), 0u);
}

TEST_F(ConformanceTest, MissesWhatIsPromised) {
    startPhone({"--no-cover"});
    const Outcome outcome = runSuite({"--with=cover,panel", "--patience=1",
                                      "--gtest_filter=*FirmwareTest*:*PanelTest*Size*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("no cover is attached"));
    EXPECT_THAT(outcome.out, HasSubstr("the cover has no sub display"));
}

TEST_F(ConformanceTest, FindsWhatIsDenied) {
    startPhone();
    const Outcome outcome = runSuite(
            {"--without=cover", "--patience=1", "--gtest_filter=*NoCoverTest*:*CommandLine*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("a cover is attached"));
    EXPECT_THAT(outcome.out, HasSubstr("[  FAILED  ] PerInstance/PresenceTest"));
}

TEST_F(ConformanceTest, MissesAnAbsentService) {
    const Outcome outcome = runSuite({"--gtest_filter=Registry.*"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("[  FAILED  ] Registry.HoldsTheDefaultInstance"));
}

TEST_F(ConformanceTest, RefusesWhatItDoesNotKnow) {
    for (const char* argument : {"--with=", "--with=cover,", "--with=tail", "--without=nodes",
                                 "--patience=", "--patience=1s", "--allow-loaders", "cover"}) {
        const Outcome outcome = runSuite({argument});
        EXPECT_EQ(outcome.status, 2) << argument;
        EXPECT_THAT(outcome.err, HasSubstr("unknown argument '" + std::string(argument) + "'"));
    }
}

TEST_F(ConformanceTest, TellsItsOptions) {
    const Outcome outcome = runSuite({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("--gtest_filter"));
    EXPECT_THAT(outcome.out, HasSubstr("--allow-loader"));
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
}  // namespace e2e
