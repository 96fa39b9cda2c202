#include <gmock/gmock.h>

#include <string>

#include "tests/tools/Cli.h"

using testing::HasSubstr;

namespace {

class StatusTest : public CliTest {};

}  // namespace

TEST_F(StatusTest, ShowsServiceAndCoverInWords) {
    givenService({"--flag"});
    Result result = run({"status"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
            "cover         on USB, attached for the accessory service\n"
            "sub display   ON, 128 x 65535, format 255\n",
            result.output);
}

TEST_F(StatusTest, ShowsWhatFails) {
    givenService({"--fail"});
    Result result = run({"status", "--firmware"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
            "cover         not on USB, not attached for the accessory service\n"
            "sub display   unknown\n"
            "firmware      no answer\n",
            result.output);
}

TEST_F(StatusTest, SpellsWhatTheCoverSaid) {
    givenService({"--text", hex("LINE\x1b[31m")});
    EXPECT_THAT(run({"status", "--firmware"}).output, HasSubstr("firmware      LINE<ESC>[31m\n"));
}

TEST_F(StatusTest, AsksTheCoverOnlyWhenTold) {
    givenService({"--exit-in", "getFirmwareVersion"});
    EXPECT_EQ(0, run({"status"}).code);
    EXPECT_EQ(3, run({"status", "--firmware"}).code);
}

TEST_F(StatusTest, IsOneLineOfJsonWhenAsked) {
    givenService({"--flag", "--text", hex("v\xff")});
    Result result = run({"status", "--json", "--firmware"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"service":"running","interfaces":["vendor.qmx.hardware.bivista@1.1::IBivista",)"
              R"("vendor.qmx.hardware.bivista@1.0::IBivista","android.hidl.base@1.0::IBase"],)"
              R"("cover":{"usb":true,"accessory":true},"subDisplay":{"state":"ON","code":3,)"
              R"("info":{"x":128,"y":65535,"format":255}},"firmware":"v\udcff"})"
              "\n",
              result.output);
}

TEST_F(StatusTest, AServiceOfVersion1_0IsToldAsSuch) {
    givenService({"--v1_0"});
    EXPECT_THAT(run({"status"}).output, HasSubstr("bivista@1.0::IBivista"));
}

TEST_F(StatusTest, WithoutAServiceItSaysSoAndEndsWithThree) {
    Result result = run({"status"});
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("service       not running\n", result.output);
    EXPECT_THAT(result.errors, HasSubstr("Start the service"));

    result = run({"status", "--json"});
    EXPECT_EQ(3, result.code);
    EXPECT_EQ("{\"service\":\"absent\"}\n", result.output);
}
