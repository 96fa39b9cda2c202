// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/tools/Cli.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

class StatusTest : public CliTest {
  protected:
    void givenDump(const std::string& dump, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--text-in", "debug", hex(dump)});
        givenService(options);
    }
};

constexpr char kDump[] =
        R"({"usb":{"loader":true},"upgrade":{"order":"UPGRADE","status":"OK","secondsAgo":75},)"
        R"("display":{"initialized":true,"screenOn":true},"brightness":{"value":128,"offset":-20},)"
        R"("colour":[{"group":"mode","values":[1],"pending":false,"applied":[0]}],)"
        R"("lastFailure":{"command":"AT%SWV","cause":"Timer expired","secondsAgo":12}})";
// Of a service that has just started.
constexpr char kFreshDump[] =
        R"({"usb":{"loader":false},"upgrade":{"order":null,"status":null,"secondsAgo":null},)"
        R"("display":{"initialized":true,"screenOn":false},"brightness":{"value":0,"offset":0},)"
        R"("colour":[{"group":"mode","values":[0],"pending":false,"applied":[0]}],)"
        R"("lastFailure":{"command":null,"cause":null,"secondsAgo":null}})";

}  // namespace

TEST_F(StatusTest, ShowsServiceAndCoverInWords) {
    givenDump(kDump, {"--flag"});
    Result result = run({"status"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
            "cover         on USB, attached for the accessory service\n"
            "screen        on\n"
            "brightness    128, offset -20\n"
            "colour        MODE_1\n"
            "sub display   ON, 128 x 65535, format 255\n"
            "firmware      not asked for (--firmware asks the cover)\n"
            "loader        on the bus\n"
            "last order    UPGRADE: OK, 1 min 15 s ago\n"
            "last failure  AT%SWV: Timer expired, 12 s ago\n",
            result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(StatusTest, SaysWhereNothingHappenedYet) {
    givenDump(kFreshDump);
    const std::string output = run({"status"}).output;
    EXPECT_THAT(output, HasSubstr("\nscreen        off\n"
                                  "brightness    0, no offset\n"
                                  "colour        DEFAULT\n"));
    EXPECT_THAT(output, HasSubstr("\nloader        not on the bus\n"
                                  "last order    none\n"
                                  "last failure  none\n"));
}

TEST_F(StatusTest, SaysThatAColourModeWaits) {
    const std::string mode = R"({"display":{"screenOn":false},"colour":[{"group":"mode",)";
    givenDump(mode + R"("values":[7],"pending":true,"applied":[7]}]})");
    EXPECT_THAT(run({"status"}).output, HasSubstr("\ncolour        mode 7, not sent yet\n"));
    // The panel is another one.
    givenDump(mode + R"("values":[1],"pending":false,"applied":[0]}]})");
    EXPECT_THAT(run({"status"}).output, HasSubstr("\ncolour        MODE_1, not sent yet\n"));
}

TEST_F(StatusTest, OfAnOlderDumpShowsWhatItHas) {
    givenDump(R"({"usb":{},"display":{"screenOn":true},"brightness":{"value":7,"offset":"x"}})");
    const std::string output = run({"status"}).output;
    EXPECT_THAT(output, HasSubstr("\nscreen        on\n"
                                  "brightness    7, offset unknown\n"
                                  "colour        unknown\n"));
    EXPECT_THAT(output, HasSubstr("\nloader        unknown\n"
                                  "last order    unknown\n"
                                  "last failure  unknown\n"));
}

TEST_F(StatusTest, WithoutADumpSaysSoInOneLine) {
    for (const auto& [dump, told] : std::vector<std::pair<std::string, std::string>>{
                 {"", "the service has no debug dump"},
                 {"text", "the service's debug dump cannot be understood"},
                 {"[1,2]", "the service's debug dump cannot be understood"}}) {
        givenDump(dump, {"--flag"});
        Result result = run({"status"});
        EXPECT_EQ(0, result.code);
        EXPECT_EQ(
                "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
                "cover         on USB, attached for the accessory service\n"
                "sub display   ON, 128 x 65535, format 255\n"
                "firmware      not asked for (--firmware asks the cover)\n"
                "dump          " +
                        told + ": the rest is not known\n",
                result.output);
    }
}

TEST_F(StatusTest, SpellsWhatTheDumpSays) {
    givenDump(R"({"lastFailure":{"command":"AT\u001b[31m","cause":"\u0007"}})");
    EXPECT_THAT(run({"status"}).output, HasSubstr("last failure  AT<ESC>[31m: <BEL>\n"));
}

TEST_F(StatusTest, ShowsWhatFails) {
    givenService({"--fail"});
    Result result = run({"status", "--firmware"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(
            "service       running, vendor.qmx.hardware.bivista@1.1::IBivista\n"
            "cover         not on USB, not attached for the accessory service\n"
            "sub display   unknown\n"
            "firmware      no answer\n"
            "dump          the service's debug dump cannot be understood: the rest is not known\n",
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
    givenDump(kDump, {"--flag", "--text", hex("v\xff")});
    Result result = run({"status", "--json", "--firmware"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(R"({"service":"running","interfaces":["vendor.qmx.hardware.bivista@1.1::IBivista",)"
              R"("vendor.qmx.hardware.bivista@1.0::IBivista","android.hidl.base@1.0::IBase"],)"
              R"("cover":{"usb":true,"accessory":true},"subDisplay":{"state":"ON","code":3,)"
              R"("info":{"x":128,"y":65535,"format":255}},"firmware":"v\udcff",)"
              R"("screen":{"initialized":true,"on":true},"brightness":{"value":128,"offset":-20},)"
              R"("colour":{"mode":"MODE_1","code":1,"pending":false},"loader":true,)"
              R"("upgrade":{"order":"UPGRADE","status":"OK","secondsAgo":75},)"
              R"("lastFailure":{"command":"AT%SWV","cause":"Timer expired","secondsAgo":12},)"
              R"("dump":"read"})"
              "\n",
              result.output);
}

TEST_F(StatusTest, AsJsonWhatIsNotKnownIsNull) {
    givenDump("", {"--flag"});
    EXPECT_THAT(
            run({"status", "--json"}).output,
            EndsWith(R"("screen":{"initialized":null,"on":null},)"
                     R"("brightness":{"value":null,"offset":null},)"
                     R"("colour":{"mode":null,"code":null,"pending":null},"loader":null,)"
                     R"("upgrade":null,"lastFailure":null,"dump":"the service has no debug dump"})"
                     "\n"));
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
