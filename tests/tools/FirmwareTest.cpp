// The commands of the cover's firmware.

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "tests/tools/SettingTest.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const Setting kSettings[] = {
        {"Upgrade", {"firmware", "upgrade"}, "doFirmwareUpgrade", "[]", "kernel does not take"},
        {"Cancel", {"firmware", "cancel"}, "cancelFirmwareUpgrade", "[]", "kernel does not take"},
        {"Dload", {"firmware", "dload"}, "goDload", "[]", "no cover is attached"},
        {"StmDload", {"firmware", "stm-dload"}, "goSTMDload", "[]", "no cover is attached"},
};

class FirmwareTest : public CliTest {};

// A cover of this version and a phone whose last image is this one.
class FirmwareCheckTest : public CliTest {
  protected:
    void given(const std::string& version, const std::string& image,
               const std::vector<std::string>& more = {}) {
        std::vector<std::string> options = {"--text-in", "getFirmwareVersion", hex(version),
                                            "--text-in", "getFirmwareFile",    hex(image)};
        options.insert(options.end(), more.begin(), more.end());
        givenService(options);
    }
    void givenFail(const std::string& version, const std::string& image) {
        given(version, image, {"--fail-in", "checkFirmwareVersion"});
    }
    Result check() { return run({"firmware", "check"}); }
};

constexpr const char* kStartedOrFailed =
        "either an upgrade to this image was started, or the check";
constexpr const char* kNotStarted = "the check failed, and no upgrade was started";

}  // namespace

INSTANTIATE_TEST_SUITE_P(Firmware, SettingTest, testing::ValuesIn(kSettings), nameOf);

TEST_F(FirmwareTest, VersionAndFileArePrintedAsTheyAre) {
    givenService({"--text", hex("LINE-KEY_1\nmore \x1b\xff")});
    for (const auto& [word, method] :
         {std::pair{"version", "getFirmwareVersion"}, std::pair{"file", "getFirmwareFile"}}) {
        Result result = run({"firmware", word});
        EXPECT_EQ(0, result.code);
        EXPECT_EQ("LINE-KEY_1\nmore \x1b\xff\n", result.output);
        EXPECT_EQ("", result.errors);
        EXPECT_EQ(method, nextCall()["method"]);
    }
}

TEST_F(FirmwareTest, OnATerminalTheyAreSpelled) {
    givenService({"--text", hex("LINE\x1b[2J\r")});
    EXPECT_EQ("LINE<ESC>[2J<CR>\n", runOnTerminal({"firmware", "version"}).output);
    EXPECT_EQ("LINE<ESC>[2J<CR>\n", runOnTerminal({"firmware", "file"}).output);
}

TEST_F(FirmwareTest, NoFileByNowPrintsNothing) {
    givenService({"--text", ""});
    Result result = run({"firmware", "file"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.output);
}

TEST_F(FirmwareTest, AVersionThatIsUnknownEndsWithOne) {
    givenService({"--fail", "--text", ""});
    Result result = run({"firmware", "version"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: no cover is attached"));
}

TEST_F(FirmwareTest, WithoutAServiceItEndsWithThree) {
    for (const char* word : {"version", "file", "check"})
        EXPECT_EQ(3, run({"firmware", word}).code);
}

TEST_F(FirmwareTest, WrongArgumentsAreRefusedBeforeAnyServiceIsAsked) {
    const Mistake mistakes[] = {
            {{"firmware"}, "subcommand is required"},
            {{"firmware", "flash"}, "there is no command \"flash\""},
            {{"firmware", "upgrade", "LINE-2.dfu"}, "not expected: LINE-2.dfu"},
            {{"firmware", "check", "LINE-2.dfu"}, "not expected: LINE-2.dfu"},
    };
    for (const Mistake& mistake : mistakes) expectWrongUsage(mistake);
}

TEST_F(FirmwareCheckTest, AsksForTheVersionBeforeAnUpgradeCanTakeTheCoverAway) {
    given("LINE-2_a", "LINE-2_b.dfu");
    check();
    for (const char* method : {"getFirmwareVersion", "checkFirmwareVersion", "getFirmwareFile"}) {
        EXPECT_EQ(method, nextCall()["method"]);
    }
}

TEST_F(FirmwareCheckTest, ACoverThatIsCurrentIsToldSo) {
    given("LINE-2_a", "LINE-2_b.dfu");
    Result result = check();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "cover         LINE-2_a\n"
            "image         LINE-2_b.dfu\n"
            "result        the cover is current\n",
            result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(FirmwareCheckTest, APhoneWithoutImagesIsToldSo) {
    given("LINE-2_a", "");
    Result result = check();
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "cover         LINE-2_a\n"
            "image         none\n"
            "result        the phone has no image\n",
            result.output);
}

TEST_F(FirmwareCheckTest, AnImageOfTheCoversLineMeansStartedOrFailed) {
    givenFail("LINE-2_a", "LINE-3_b.dfu");
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(
            "cover         LINE-2_a\n"
            "image         LINE-3_b.dfu\n",
            result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: "));
    EXPECT_THAT(result.errors, HasSubstr(kStartedOrFailed));
    EXPECT_THAT(result.errors, HasSubstr("log tells which"));
    EXPECT_THAT(result.errors, Not(HasSubstr(kNotStarted)));
}

// Of a newer image whose key has another length only a mixture of its name is kept.
TEST_F(FirmwareCheckTest, AMixedNameOfTheCoversLineMeansStartedOrFailed) {
    givenFail("LINE-2_a", "LINE-3_");
    EXPECT_THAT(check().errors, HasSubstr(kStartedOrFailed));
    killService();
    givenFail("LINE-20_a", "LINE-3");
    EXPECT_THAT(check().errors, HasSubstr(kStartedOrFailed));
}

TEST_F(FirmwareCheckTest, AnImageOfAnotherLineMeansFailed) {
    for (const char* image : {"OTHER-3_b.dfu", "LIN-3_b.dfu", "LINES-3_b.dfu", "line-3_b.dfu",
                              "LINE_3.dfu", "-3_b.dfu"}) {
        givenFail("LINE-2_a", image);
        Result result = check();
        EXPECT_EQ(1, result.code);
        EXPECT_EQ(std::string("cover         LINE-2_a\nimage         ") + image + "\n",
                  result.output);
        EXPECT_THAT(result.errors, HasSubstr(kNotStarted));
        EXPECT_THAT(result.errors, EndsWith(".\n"));
        killService();
    }
}

TEST_F(FirmwareCheckTest, ACoverThatHungUpMeansStartedOrFailed) {
    givenFail("", "LINE-3_b.dfu");
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_THAT(result.errors, HasSubstr(kStartedOrFailed));
}

TEST_F(FirmwareCheckTest, WithoutAnyImageItMeansFailed) {
    givenFail("LINE-2_a", "");
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("cover         LINE-2_a\nimage         none\n", result.output);
    EXPECT_THAT(result.errors, HasSubstr(kNotStarted));
}

TEST_F(FirmwareCheckTest, ACoverWithoutVersionIsNotChecked) {
    given("", "LINE-3_b.dfu", {"--fail-in", "getFirmwareVersion"});
    Result result = check();
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.output);
    EXPECT_THAT(result.errors, StartsWith("bivistactl: FAIL: nothing was checked: no cover"));
    EXPECT_EQ("getFirmwareVersion", nextCall()["method"]);
    run({"call", "getBV2Connect"});
    EXPECT_EQ("getBV2Connect", nextCall()["method"]);
}

TEST_F(FirmwareCheckTest, NamesAreSpelledAndKeepTheirRow) {
    given("LINE-2\nx\x1b", "LINE-2\x07.dfu");
    EXPECT_EQ(
            "cover         LINE-2<LF>x<ESC>\n"
            "image         LINE-2<BEL>.dfu\n"
            "result        the cover is current\n",
            check().output);
}

TEST_F(FirmwareCheckTest, AsJsonItIsOneObject) {
    given("LINE-2_a\xff", "");
    Result result = run({"firmware", "check", "--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"cover":"LINE-2_a\udcff","image":null,"status":"OK","mayHaveStarted":false})"
              "\n",
              result.output);
    killService();

    givenFail("LINE-2_a", "LINE-3_b.dfu");
    result = run({"firmware", "check", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(R"({"cover":"LINE-2_a","image":"LINE-3_b.dfu","status":"FAIL","mayHaveStarted":true})"
              "\n",
              result.output);
    EXPECT_THAT(result.errors, HasSubstr(kStartedOrFailed));
    killService();

    givenFail("LINE-2_a", "OTHER-3_b.dfu");
    EXPECT_THAT(run({"firmware", "check", "--json"}).output,
                HasSubstr(R"("status":"FAIL","mayHaveStarted":false})"));
}

TEST_F(FirmwareCheckTest, AServiceThatDiesInAnyCallEndsWithThree) {
    for (const char* method : {"getFirmwareVersion", "checkFirmwareVersion", "getFirmwareFile"}) {
        given("LINE-2_a", "", {"--exit-in", method});
        EXPECT_EQ(3, check().code) << method;
    }
}

TEST_F(FirmwareCheckTest, CallStaysRaw) {
    givenFail("LINE-2_a", "LINE-3_b.dfu");
    Result result = run({"call", "checkFirmwareVersion"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("{\"method\":\"checkFirmwareVersion\",\"status\":\"FAIL\"}\n", result.output);
    EXPECT_EQ("", result.errors);
}
