// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Each form of a report, byte for byte.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/Colour.h"
#include "emulator/play/Report.h"

namespace play {
namespace {

using namespace std::chrono_literals;

// Of a scenario that is right, one that failed, one without a service, and one without a service
// that says why.
std::string reportAll(Format format) {
    const Scenario right = {.file = "scenarios/right.yaml", .name = "All <is> well & #1"};
    const Scenario wrong = {.file = "scenarios/wrong.yaml", .name = "A colour is \"refused\""};
    const Scenario away = {.file = "scenarios/away.yaml", .name = "Nobody is there"};
    const Scenario died = {.file = "scenarios/died.yaml", .name = "It dies at once"};
    const Failure failure = {.place = {14, 9},
                             .step = "expect: [at: AT%BV=1]",
                             .expected = "at: AT%BV=1",
                             .came = "tty-rx AT%BV=0\\r\nno more",
                             .around = "1.000 one\n1.001 two & <three>\n"};
    const Failure start = {
            .place = {1, 1}, .step = "start", .expected = "a service", .came = "it ended with 1"};
    std::ostringstream out;
    const std::unique_ptr<Report> report = makeReport(format, out);
    report->begin(4);
    report->add({.scenario = &right, .took = 1234ms});
    report->add({.scenario = &wrong, .failure = failure, .took = 7ms});
    report->add({.scenario = &away, .noService = true, .took = 60'000ms});
    report->add({.scenario = &died, .failure = start, .noService = true});
    report->end();
    return out.str();
}

// Of one failure, in which these bytes are everywhere.
std::string reportBytes(Format format, const std::string& bytes) {
    const Scenario scenario = {.file = "s.yaml", .name = "N"};
    std::ostringstream out;
    const std::unique_ptr<Report> report = makeReport(format, out);
    report->begin(1);
    report->add({.scenario = &scenario,
                 .failure = Failure{.place = {1, 2},
                                    .step = bytes,
                                    .expected = bytes,
                                    .came = bytes,
                                    .around = bytes}});
    report->end();
    return out.str();
}

// A control byte, one of no UTF-8, a letter of two bytes, and a character that XML does not have.
const std::string kBytes = "a\033[1m\xff\xc3\xa4\xef\xbf\xbf\tb";

TEST(ReportTest, ForPeople) {
    EXPECT_EQ(
            "ok  All <is> well & #1 (1.234 s)\n"
            "failed  A colour is \"refused\" (0.007 s)\n"
            "  scenarios/wrong.yaml:14:9\n"
            "  step:     expect: [at: AT%BV=1]\n"
            "  expected: at: AT%BV=1\n"
            "  came:     tty-rx AT%BV=0\\r\n"
            "            no more\n"
            "  around:\n"
            "    1.000 one\n"
            "    1.001 two & <three>\n"
            "no service  Nobody is there (60.000 s)\n"
            "no service  It dies at once (0.000 s)\n"
            "  scenarios/died.yaml:1:1\n"
            "  step:     start\n"
            "  expected: a service\n"
            "  came:     it ended with 1\n"
            "4 scenarios: 1 ok, 1 failed, 2 without a service\n",
            reportAll(Format::Text));
}

TEST(ReportTest, ForPeopleInColour) {
    const Scenario scenario = {.file = "s.yaml", .name = "N"};
    std::ostringstream out;
    cli::setColour("always");
    const std::unique_ptr<Report> report = makeReport(Format::Text, out);
    report->begin(1);
    report->add({.scenario = &scenario});
    report->add({.scenario = &scenario, .failure = Failure{.place = {1, 2}, .step = "x"}});
    report->end();
    cli::setColour("auto");
    EXPECT_EQ(
            "\033[32mok\033[0m  N (0.000 s)\n"
            "\033[1;31mfailed\033[0m  N (0.000 s)\n"
            "  \033[1ms.yaml:1:2\033[0m\n"
            "  step:     x\n"
            "2 scenarios: 1 ok, 1 failed\n",
            out.str());
}

TEST(ReportTest, ForPeopleOfStrangeBytes) {
    EXPECT_EQ(
            "failed  N (0.000 s)\n"
            "  s.yaml:1:2\n"
            "  step:     a\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\tb\n"
            "  expected: a\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\tb\n"
            "  came:     a\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\tb\n"
            "  around:\n"
            "    a\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\tb\n"
            "1 scenario: 0 ok, 1 failed\n",
            reportBytes(Format::Text, kBytes));
}

TEST(ReportTest, AsTap) {
    EXPECT_EQ(
            "TAP version 14\n"
            "1..4\n"
            "ok 1 - All <is> well & \\#1\n"
            "  ---\n"
            "  duration_ms: 1234\n"
            "  ...\n"
            "not ok 2 - A colour is \"refused\"\n"
            "  ---\n"
            "  duration_ms: 7\n"
            "  at: \"scenarios/wrong.yaml:14:9\"\n"
            "  step: \"expect: [at: AT%BV=1]\"\n"
            "  expected: \"at: AT%BV=1\"\n"
            "  came: \"tty-rx AT%BV=0\\\\r\\nno more\"\n"
            "  around:\n"
            "    - \"1.000 one\"\n"
            "    - \"1.001 two & <three>\"\n"
            "  ...\n"
            "not ok 3 - Nobody is there\n"
            "  ---\n"
            "  message: \"no service\"\n"
            "  duration_ms: 60000\n"
            "  ...\n"
            "not ok 4 - It dies at once\n"
            "  ---\n"
            "  message: \"no service\"\n"
            "  duration_ms: 0\n"
            "  at: \"scenarios/died.yaml:1:1\"\n"
            "  step: \"start\"\n"
            "  expected: \"a service\"\n"
            "  came: \"it ended with 1\"\n"
            "  ...\n",
            reportAll(Format::Tap));
}

TEST(ReportTest, AsTapOfStrangeBytes) {
    EXPECT_EQ(
            "TAP version 14\n"
            "1..1\n"
            "not ok 1 - N\n"
            "  ---\n"
            "  duration_ms: 0\n"
            "  at: \"s.yaml:1:2\"\n"
            "  step: \"a\\\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\\\tb\"\n"
            "  expected: \"a\\\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\\\tb\"\n"
            "  came: \"a\\\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\\\tb\"\n"
            "  around:\n"
            "    - \"a\\\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\\\tb\"\n"
            "  ...\n",
            reportBytes(Format::Tap, kBytes));
}

TEST(ReportTest, AsJunit) {
    EXPECT_EQ(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuite name=\"scenarios\" tests=\"4\" failures=\"1\" errors=\"2\" skipped=\"0\" "
            "time=\"61.241\">\n"
            "  <testcase name=\"All &lt;is&gt; well &amp; #1\" classname=\"right\" "
            "file=\"scenarios/right.yaml\" time=\"1.234\"/>\n"
            "  <testcase name=\"A colour is &quot;refused&quot;\" classname=\"wrong\" "
            "file=\"scenarios/wrong.yaml\" time=\"0.007\">\n"
            "    <failure message=\"expect: [at: AT%BV=1]\">scenarios/wrong.yaml:14:9&#10;"
            "step: expect: [at: AT%BV=1]&#10;expected: at: AT%BV=1&#10;"
            "came: tty-rx AT%BV=0\\r&#10;no more&#10;"
            "around:&#10;1.000 one&#10;1.001 two &amp; &lt;three&gt;&#10;</failure>\n"
            "  </testcase>\n"
            "  <testcase name=\"Nobody is there\" classname=\"away\" file=\"scenarios/away.yaml\" "
            "time=\"60.000\">\n"
            "    <error message=\"no service\"></error>\n"
            "  </testcase>\n"
            "  <testcase name=\"It dies at once\" classname=\"died\" file=\"scenarios/died.yaml\" "
            "time=\"0.000\">\n"
            "    <error message=\"no service\">scenarios/died.yaml:1:1&#10;step: start&#10;"
            "expected: a service&#10;came: it ended with 1&#10;</error>\n"
            "  </testcase>\n"
            "</testsuite>\n",
            reportAll(Format::Junit));
}

TEST(ReportTest, AsJunitOfStrangeBytes) {
    const std::string printed = "a\\x1b[1m\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\\tb";
    EXPECT_EQ(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuite name=\"scenarios\" tests=\"1\" failures=\"1\" errors=\"0\" skipped=\"0\" "
            "time=\"0.000\">\n"
            "  <testcase name=\"N\" classname=\"s\" file=\"s.yaml\" time=\"0.000\">\n"
            "    <failure message=\"" +
                    printed + "\">s.yaml:1:2&#10;step: " + printed + "&#10;expected: " + printed +
                    "&#10;came: " + printed + "&#10;around:&#10;" + printed +
                    "</failure>\n"
                    "  </testcase>\n"
                    "</testsuite>\n",
            reportBytes(Format::Junit, kBytes));
}

}  // namespace
}  // namespace play
