// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// How a dump is spelled, for people and as JSON.
#include "diagnostics/DumpText.h"

#include <climits>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using namespace std::string_literals;

std::string makeDump(bool isJson) {
    DumpText dump(isJson);
    dump.add("one", {{"is", true}, {"amount", -3}, {"state", nullptr}});
    const std::vector<int64_t> numbers = {1, -2};
    dump.addList("many", {{{"name", "a\"\\\r"}, {"of", numbers}}, {{"is", false}}});
    dump.addList("none", {});
    return dump.text();
}

TEST(DumpTextTest, IsOneLineOfJson) {
    EXPECT_EQ(makeDump(true),
              R"({"one":{"is":true,"amount":-3,"state":null},)"
              R"("many":[{"name":"a\"\\<0x0D>","of":[1,-2]},{"is":false}],"none":[]})"
              "\n");
}

TEST(DumpTextTest, IsReadable) {
    EXPECT_EQ(makeDump(false),
              "one:\n"
              "  is      true\n"
              "  amount  -3\n"
              "  state   null\n"
              "many:\n"
              "  name=a\"\\<0x0D> of=[1,-2]\n"
              "  is=false\n"
              "none:\n");
}

TEST(DumpTextTest, GivesALongNameItsRoom) {
    DumpText dump(false);
    dump.add("one", {{"twentyCharactersLong", 1}, {"short", 2}});
    EXPECT_EQ(dump.text(),
              "one:\n"
              "  twentyCharactersLong  1\n"
              "  short                 2\n");
}

TEST(DumpTextTest, SpellsWhatIsNotPrintable) {
    EXPECT_EQ(spelled("\0\x1F ~\x7F\x80\xFF"s), "<0x00><0x1F> ~<0x7F><0x80><0xFF>");
}

TEST(DumpTextTest, HoldsTheLargestNumbers) {
    DumpText dump(true);
    dump.add("all", {{"a", UINT64_MAX}, {"b", INT64_MIN}});
    EXPECT_EQ(dump.text(), "{\"all\":{\"a\":18446744073709551615,\"b\":-9223372036854775808}}\n");
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
