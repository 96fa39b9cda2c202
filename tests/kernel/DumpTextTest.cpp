// How a dump is spelled, for people and as JSON; and its options.
#include "diagnostics/DumpText.h"

#include <gtest/gtest.h>

#include "diagnostics/DumpOptions.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using namespace std::string_literals;

DumpText makeDump() {
    DumpText dump;
    dump.add("one", DumpRow().flag("is", true).number("amount", -3).unknown("state"));
    dump.add("many", std::vector<DumpRow>{DumpRow().text("name", "a\"\\\r").numbers("of", {1, -2}),
                                          DumpRow().flag("is", false)});
    dump.add("none", std::vector<DumpRow>());
    return dump;
}

TEST(DumpTextTest, IsOneLineOfJson) {
    EXPECT_EQ(makeDump().json(),
              R"({"one":{"is":true,"amount":-3,"state":null},)"
              R"("many":[{"name":"a\"\\<0x0D>","of":[1,-2]},{"is":false}],"none":[]})"
              "\n");
}

TEST(DumpTextTest, IsReadable) {
    EXPECT_EQ(makeDump().words(),
              "one:\n"
              "  is      true\n"
              "  amount  -3\n"
              "  state   null\n"
              "many:\n"
              "  name=a\"\\<0x0D> of=[1,-2]\n"
              "  is=false\n"
              "none:\n");
}

TEST(DumpTextTest, SpellsWhatIsNotPrintable) {
    EXPECT_EQ(spelled("\0\x1F ~\x7F\x80\xFF"s), "<0x00><0x1F> ~<0x7F><0x80><0xFF>");
}

TEST(DumpTextTest, HoldsTheLargestNumbers) {
    EXPECT_EQ(DumpRow().number("a", UINT64_MAX).number("b", INT64_MIN).json(),
              R"({"a":18446744073709551615,"b":-9223372036854775808})");
}

TEST(DumpOptionsTest, MayComeInAnyOrder) {
    const DumpOptions none = readDumpOptions({});
    EXPECT_FALSE(none.help || none.json || none.reset || none.isWrong);
    const DumpOptions all = readDumpOptions({"--reset", "--json", "--help", "--json"});
    EXPECT_TRUE(all.help && all.json && all.reset);
    EXPECT_FALSE(all.isWrong);
}

TEST(DumpOptionsTest, NameTheFirstThatIsWrong) {
    for (const std::string& wrong : {"-v"s, ""s, "--Json"s, "--json "s, "--json\0"s, "json"s}) {
        const DumpOptions options = readDumpOptions({"--json", wrong, "--other"});
        EXPECT_TRUE(options.isWrong);
        EXPECT_EQ(options.wrong, wrong);
    }
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
