// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Commands and answers of the cover as items.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using phone::Kind;
using testing::ElementsAreArray;

struct Case {
    const char* name;
    Entries entries;
    std::vector<std::string> items;
};

// So that a failure names the case.
void PrintTo(const Case& given, std::ostream* out) {
    *out << given.name;
}

class ExchangeCases : public testing::TestWithParam<Case> {};

TEST_P(ExchangeCases, BecomeItems) {
    EXPECT_THAT(describeAll(itemsOf(GetParam().entries)), ElementsAreArray(GetParam().items));
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
        Answered, ExchangeCases,
        testing::Values(Case{"WithALine",
                             Entries().rx(1, "AT%SWV\r").tx(3, "\r\nBV330-V10k\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT%SWV" "BV330-V10k" OK 2 ms)"}},
                        Case{"WithoutALine",
                             Entries().rx(1, "AT%DB=5\r").tx(1.5, "\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT%DB=5" OK 0.5 ms)"}},
                        Case{"WithSeveralLines",
                             Entries().rx(1, "AT%X\r").tx(2, "\r\na\r\nb c\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT%X" "a | b c" OK 1 ms)"}},
                        Case{"WithError",
                             Entries().rx(1, "AT%NO\r").tx(2, "\r\nERROR\r\n"),
                             {R"(exchange 1-2 "AT%NO" ERROR 1 ms)"}},
                        Case{"WithTheEcho",
                             Entries().rx(1, "ate0\r").tx(2, "ate0\r\r\nOK\r\n"),
                             {R"(exchange 1-2 "ate0" OK 1 ms)"}},
                        Case{"WithTheEchoAndALine",
                             Entries().rx(1, "AT%SWV\r").tx(2, "AT%SWV\r\r\nBV330\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT%SWV" "BV330" OK 1 ms)"}},
                        Case{"InPieces",
                             Entries().rx(1, "AT%S").rx(2, "WV\r").tx(3, "\r\nBV330\r\nOK\r\n"),
                             {R"(exchange 1-3 "AT%SWV" "BV330" OK 2 ms)"}},
                        Case{"ByteByByte",
                             Entries()
                                     .rx(1, "AT\r")
                                     .tx(2, "\r")
                                     .tx(3, "\n")
                                     .tx(4, "a")
                                     .tx(5, "b")
                                     .tx(6, "\r")
                                     .tx(7, "\n")
                                     .tx(8, "O")
                                     .tx(9, "K")
                                     .tx(10, "\r")
                                     .tx(11, "\n"),
                             {R"(exchange 1-11 "AT" "ab" OK 10 ms)"}},
                        Case{"AfterALineEndOfACommand",
                             Entries()
                                     .rx(1, "AT\r")
                                     .tx(2, "\r\nOK\r\n")
                                     .rx(3, "\n")
                                     .rx(4, "AT\r")
                                     .tx(5, "\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT" OK 1 ms)", R"(exchange 3-5 "AT" OK 2 ms)"}},
                        Case{"ToTwoCommandsOfOneWrite",
                             Entries()
                                     .rx(1, "AT\r")
                                     .rx(1.1, "AT%SWV\r")
                                     .tx(2, "\r\nOK\r\n")
                                     .tx(3, "\r\nBV330\r\nOK\r\n"),
                             {R"(exchange 1-3 "AT" OK 1 ms)",
                              R"(exchange 2-4 "AT%SWV" "BV330" OK 1.9 ms)"}},
                        Case{"WithControlBytes",
                             Entries().rx(1, "AT%\x01\xff\"\r").tx(2, "\r\nOn\x1b\r\nERROR\r\n"),
                             {R"(exchange 1-2 "AT%\x01\xff"" "On\x1b" ERROR 1 ms)"}}),
        nameOf);

INSTANTIATE_TEST_SUITE_P(
        WithoutAnswer, ExchangeCases,
        testing::Values(
                Case{"YetOpen", Entries().rx(1, "AT\r"), {R"(exchange 1 "AT", open)"}},
                Case{"OpenInHalfACommand", Entries().rx(1, "AT"), {R"(exchange 1 "AT", open)"}},
                Case{"SilentUntilTheNext",
                     Entries().rx(1, "AT\r").rx(3, "AT%SWV\r").tx(4, "\r\nOK\r\n"),
                     {R"(exchange 1 "AT" no answer 2 ms)", R"(exchange 2-3 "AT%SWV" OK 1 ms)"}},
                Case{"HalfAnAnswer",
                     Entries()
                             .rx(1, "AT%SWV\r")
                             .tx(2, "\r\nBV33")
                             .rx(9, "AT\r")
                             .tx(10, "\r\nOK\r\n"),
                     {R"(exchange 1-2 "AT%SWV" "BV33" no answer 8 ms)",
                      R"(exchange 3-4 "AT" OK 1 ms)"}},
                Case{"CutOff",
                     Entries().rx(1, "AT%SWV\r").tx(2, "\r\nBV33").detach(3),
                     {R"(exchange 1-2 "AT%SWV" "BV33" cut off 2 ms)", R"(detach 3 "detach 1-1")"}},
                Case{"CutOffInHalfACommand",
                     Entries().rx(1, "AT%").detach(3),
                     {R"(exchange 1 "AT%" cut off 2 ms)", R"(detach 2 "detach 1-1")"}},
                Case{"GarbledToTheEnd",
                     Entries().rx(1, "AT\r").tx(2, "\r\n\xcf\xcb\r\n").rx(5, "AT\r"),
                     {R"(exchange 1-2 "AT" "\xcf\xcb" no answer 4 ms)",
                      R"(exchange 3 "AT", open)"}},
                Case{"CutOffByAHole",
                     Entries().rx(1, "AT\r").skip(5).tx(3, "\r\nOK\r\n"),
                     {R"(exchange 1 "AT" cut off 2 ms)", R"(unsolicited 7 "OK")"}},
                Case{"NotCutOffByAnotherDevice",
                     Entries()
                             .add(0, Kind::Attach, "1-2", "", "/dev/ttyACM1")
                             .rx(1, "AT\r")
                             .add(2, Kind::Detach, "1-2")
                             .tx(3, "\r\nOK\r\n"),
                     {R"(attach 1 "attach 1-2" "/dev/ttyACM1")", R"(exchange 2-4 "AT" OK 2 ms)",
                      R"(detach 3 "detach 1-2")"}},
                Case{"OfAnotherDeviceThatGoes",
                     Entries()
                             .add(0, Kind::Attach, "1-2", "", "/dev/ttyACM1")
                             .add(1, Kind::TtyRx, "/dev/ttyACM1", "AT\r")
                             .detach(2)
                             .add(3, Kind::Detach, "1-2"),
                     {R"(attach 1 "attach 1-2" "/dev/ttyACM1")", R"(exchange 2 "AT" cut off 2 ms)",
                      R"(detach 3 "detach 1-1")", R"(detach 4 "detach 1-2")"}}),
        nameOf);

INSTANTIATE_TEST_SUITE_P(
        Lines, ExchangeCases,
        testing::Values(Case{"NobodyAskedFor",
                             Entries().tx(1, "mcu up\r\n"),
                             {R"(unsolicited 1 "mcu up")"}},
                        Case{"OfAnAnswerWhoseCommandTheJournalDropped",
                             Entries(100).tx(1, "\r\nBV330\r\nOK\r\n"),
                             {R"(unsolicited 100 "BV330 | OK")"}},
                        Case{"MoreThanOneOk",
                             Entries().rx(1, "AT\r").tx(2, "\r\nOK\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT" OK 1 ms)", R"(unsolicited 2 "OK")"}},
                        Case{"BeforeAndAfterAnAnswer",
                             Entries().rx(1, "AT\r").tx(2, "before\r\n\r\nOK\r\nafter\r\n"),
                             {R"(exchange 1-2 "AT" OK 1 ms)", R"(unsolicited 2 "before | after")"}},
                        Case{"InsideAnAnswer",
                             Entries().rx(1, "AT%SWV\r").tx(2, "\r\ninside\r\nBV330\r\nOK\r\n"),
                             {R"(exchange 1-2 "AT%SWV" "inside | BV330" OK 1 ms)"}},
                        Case{"InPieces",
                             Entries().tx(1, "a\r\nmc").tx(2, "u\r").tx(3, "\n"),
                             {R"(unsolicited 1-3 "a | mcu" 2 ms)"}},
                        Case{"CutOff",
                             Entries().tx(1, "mc").detach(2),
                             {R"(unsolicited 1 "mc")", R"(detach 2 "detach 1-1")"}},
                        Case{"OfTheCoversLog",
                             Entries()
                                     .rx(1, "AT%LOGSAVE=0\r")
                                     .tx(2, "\r\nOK\r\n")
                                     .tx(3, "chatter 1\r\n")
                                     .rx(4, "AT\r")
                                     .tx(5, "chatter 2\r\n")
                                     .tx(6, "\r\nOK\r\n")
                                     .rx(7, "AT%LOGSAVE=1\r")
                                     .tx(8, "\r\nOK\r\n")
                                     .tx(9, "more\r\n"),
                             {R"(exchange 1-2 "AT%LOGSAVE=0" OK 1 ms)", R"(log 3 "chatter 1")",
                              R"(exchange 4-6 "AT" OK 2 ms)", R"(log 5 "chatter 2")",
                              R"(exchange 7-8 "AT%LOGSAVE=1" OK 1 ms)",
                              R"(unsolicited 9 "more")"}}),
        nameOf);

INSTANTIATE_TEST_SUITE_P(
        Faults, ExchangeCases,
        testing::Values(
                Case{"ThatAreMetBeforeTheCommand",
                     Entries()
                             .fault(1, kTty, "on AT error", "AT")
                             .rx(1, "AT\r")
                             .tx(2, "\r\nERROR\r\n")
                             .rx(3, "AT\r")
                             .tx(4, "\r\nOK\r\n"),
                     {R"(fault-met 1 "met on AT error" "AT")",
                      R"(exchange 2-3 "AT" ERROR 1 ms, faulty)", R"(exchange 4-5 "AT" OK 1 ms)"}},
                Case{"ThatAreMetAfterIt",
                     Entries()
                             .rx(1, "AT\r")
                             .fault(1, kTty, "on AT error", "AT")
                             .tx(2, "\r\nERROR\r\n"),
                     {R"(exchange 1-3 "AT" ERROR 1 ms, faulty)",
                      R"(fault-met 2 "met on AT error" "AT")"}},
                Case{"ThatMakeAnAnswerLate",
                     Entries()
                             .rx(1, "AT%SWV\r")
                             .fault(1, kTty, "on AT%SWV late 2s", "AT%SWV")
                             .rx(1000, "AT\r")
                             .tx(2001, "\r\nBV330\r\nOK\r\n")
                             .tx(2002, "\r\nOK\r\n"),
                     {R"(exchange 1-4 "AT%SWV" "BV330" OK 2000 ms, faulty)",
                      R"(fault-met 2 "met on AT%SWV late 2s" "AT%SWV")",
                      R"(exchange 3-5 "AT" OK 1002 ms)"}},
                Case{"ThatMakeAFlood",
                     Entries()
                             .rx(1, "AT\r")
                             .fault(1, kTty, "on AT flood", "AT")
                             .tx(2, "\r\nflood 1\r\nflood 2\r\nflo")
                             .tx(3, "od 3\r\n"),
                     {R"(exchange 1-4 "AT" "flood 1 | flood 2 | flood 3" 2 ms, faulty, open)",
                      R"(fault-met 2 "met on AT flood" "AT")"}},
                Case{"ThatMakeTheCoverDeaf",
                     Entries()
                             .fault(1, kTty, "on AT deaf", "AT")
                             .add(2, Kind::TtyLost, kTty, "AT\r")
                             .rx(3, "AT\r")
                             .tx(4, "\r\nOK\r\n"),
                     {R"(fault-met 1 "met on AT deaf" "AT")", R"(tty-lost 2 "lost AT\r")",
                      R"(exchange 3-4 "AT" OK 1 ms)"}},
                Case{"ThatHangUp",
                     Entries()
                             .rx(1, "AT\r")
                             .fault(1, kTty, "on AT hangup after 5", "AT")
                             .tx(2, "\r\nOn")
                             .detach(3),
                     {R"(exchange 1-3 "AT" "On" cut off 2 ms, faulty)",
                      R"(fault-met 2 "met on AT hangup after 5" "AT")",
                      R"(detach 4 "detach 1-1")"}}),
        nameOf);

}  // namespace
}  // namespace timeline
