// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Faults that are met: how often, what the journal tells of each strike, and their removal.

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

using android::base::unique_fd;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

class FaultMetTest : public support::PhoneTest {
  protected:
    // Opens the tty, and sends the cover the commands.
    static unique_fd send(const std::string& commands) {
        unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        support::setLines(tty);
        EXPECT_EQ(write(tty.get(), commands.data(), commands.size()),
                  static_cast<ssize_t>(commands.size()));
        return tty;
    }
    // The journal of these kinds: "kind path bytes note".
    std::vector<std::string> record(const std::vector<Kind>& kinds) const {
        std::vector<std::string> lines;
        for (const phone::Entry& entry : journal.since(first)) {
            if (std::find(kinds.begin(), kinds.end(), entry.kind) == kinds.end()) continue;
            lines.push_back(std::string(name(entry.kind)) + " " + entry.path + " " + entry.bytes +
                            " " + entry.note);
        }
        return lines;
    }
    std::vector<std::string> strikes() const { return record({Kind::FaultMet}); }
    std::vector<uint64_t> counts() const {
        std::vector<uint64_t> met;
        for (const phone::SetFault& fault : phone.faults.listMet()) met.push_back(fault.met);
        return met;
    }
};

TEST_F(FaultMetTest, ACommandsStrikeStandsBetweenTheCommandAndItsAnswer) {
    phone.cover.attach();
    phone.faults.set("on AT%SWV error times 2");
    phone.faults.set("on * flood 100");
    const unique_fd tty = send("AT%SWV\r");
    journal.waitFor(
            [](const phone::Entry& entry) {
                return entry.kind == Kind::TtyTx && entry.bytes.ends_with("ERROR\r\n");
            },
            first);
    const std::vector<std::string> lines = record({Kind::TtyRx, Kind::FaultMet, Kind::TtyTx});
    ASSERT_GT(lines.size(), 4u);
    EXPECT_EQ(lines[0], "tty-rx /dev/ttyACM0 AT%SWV\r ");
    EXPECT_EQ(lines[1], "fault-met /dev/ttyACM0 on AT%SWV error times 2 AT%SWV");
    EXPECT_EQ(lines[2], "fault-met /dev/ttyACM0 on * flood 100 AT%SWV");
    EXPECT_EQ(strikes().size(), 2u);
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT%SWV error times 1", "on * flood 100"));
    EXPECT_THAT(counts(), ElementsAre(1, 1));
}

TEST_F(FaultMetTest, ADeafCoverIsOneStrikeHoweverOftenTheBytesAreOffered) {
    phone.cover.attach();
    phone.cover.setClosingWait({});
    phone.faults.set("on * deaf");
    const unique_fd tty = send("AT%SWV\r");
    for (int i = 0; i < 3; ++i) EXPECT_THAT(journal.list(Kind::TtyRx, first), IsEmpty());
    EXPECT_THAT(strikes(), ElementsAre("fault-met /dev/ttyACM0 on * deaf AT%SWV"));
    phone.faults.remove("on * deaf");
    EXPECT_THAT(journal.list(Kind::TtyRx, first), ElementsAre("AT%SWV\r"));
    EXPECT_EQ(strikes().size(), 1u);
}

TEST_F(FaultMetTest, ACallOfThePanelFollowsItsStrike) {
    phone.cover.attach();
    phone.faults.set("hid open late 1us");
    phone.faults.set("hid * error EIO after 1 times 1");
    const unique_fd node(open("/dev/hidraw0", O_WRONLY));
    ASSERT_TRUE(node.ok());
    uint8_t config[] = {3, 2, 90};
    EXPECT_EQ(ioctl(node.get(), HIDIOCSFEATURE(sizeof(config)), config), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_THAT(record({Kind::FaultMet, Kind::HidOpen, Kind::HidSet}),
                ElementsAre("fault-met /dev/hidraw0 hid open late 1us open",
                            "hid-open /dev/hidraw0  O_WRONLY",
                            "fault-met /dev/hidraw0 hid * error EIO times 1 config",
                            "hid-set /dev/hidraw0 \3\2Z EIO"));
    EXPECT_THAT(counts(), ElementsAre(1));
}

TEST_F(FaultMetTest, AnUnpluggingComesAfterTheStrikeThatCausesIt) {
    phone.cover.attach();
    phone.faults.set("hid open unplug times 1");
    EXPECT_EQ(open("/dev/hidraw0", O_WRONLY), -1);
    const std::vector<std::string> lines = record({Kind::FaultMet, Kind::Detach});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "fault-met /dev/hidraw0 hid open unplug times 1 open");
}

TEST_F(FaultMetTest, AFilesStrikeNamesTheCall) {
    const std::string recovery = phone::kRecovery;
    phone.faults.set("node " + recovery + " missing");
    EXPECT_EQ(open(phone::kRecovery, O_RDWR | O_CLOEXEC), -1);
    EXPECT_EQ(access(phone::kRecovery, R_OK), -1);
    EXPECT_EQ(access(phone::kHalReady, R_OK), 0);
    EXPECT_THAT(counts(), ElementsAre(2));
    phone.faults.clear();
    phone.faults.set("node " + recovery + " unwritable");
    phone.faults.set("node " + recovery + " read-eio");
    phone.faults.set("node " + recovery + " eio");
    unique_fd(open(phone::kRecovery, O_RDONLY));
    EXPECT_THAT(counts(), ElementsAre(0, 1, 0));
    EXPECT_EQ(open(phone::kRecovery, O_WRONLY), -1);
    phone.faults.remove("node " + recovery + " unwritable");
    unique_fd(open(phone::kRecovery, O_WRONLY));
    EXPECT_THAT(counts(), ElementsAre(1, 1));
    const std::string listed = "fault-met " + recovery + " node \"" + recovery + "\" ";
    EXPECT_THAT(strikes(),
                ElementsAre(listed + "missing open O_RDWR|O_CLOEXEC", listed + "missing access",
                            listed + "read-eio open O_RDONLY", listed + "unwritable open O_WRONLY",
                            listed + "eio open O_WRONLY"));
}

TEST_F(FaultMetTest, OneOfSeveralIsTakenAway) {
    for (const char* text : {"on AT silent", "on AT silent times 3", "node /sys/x missing",
                             "hid write short 1", "on AT silent"}) {
        phone.faults.set(text);
    }
    phone.faults.remove("on AT silent");
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT silent times 3", "on AT silent",
                                                 "node \"/sys/x\" missing", "hid write short 1"));
    EXPECT_EQ(journal.since(first).back().bytes, "on AT silent");
    EXPECT_EQ(journal.since(first).back().note, "removed");
    // As it was set, or as it is listed.
    phone.faults.remove("node /sys/x missing");
    phone.faults.remove("hid write  short 1");
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT silent times 3", "on AT silent"));
    EXPECT_NE(access("/sys/x", F_OK), 0);
}

TEST_F(FaultMetTest, WhatIsNotSetIsNotTakenAway) {
    phone.faults.set("on AT silent");
    const uint64_t next = journal.next();
    for (const char* text : {"on AT silent times 1", "node /sys/x missing", "hid write short 1",
                             "nonsense", "node /sys/x", "hid"}) {
        EXPECT_THROW(phone.faults.remove(text), phone::Error) << text;
    }
    EXPECT_THAT(phone.faults.list(), ElementsAre("on AT silent"));
    EXPECT_EQ(journal.next(), next);
}

TEST_F(FaultMetTest, ACallThatAFaultHoldsUpGoesOnWithoutIt) {
    phone.cover.attach();
    phone.faults.set("hid open late 3600s");
    std::thread opener([] { EXPECT_TRUE(unique_fd(open("/dev/hidraw0", O_WRONLY)).ok()); });
    journal.waitFor(phone::is(Kind::FaultMet, "hid open late 3600s"), first);
    phone.faults.remove("hid open late 3600s");
    opener.join();
}

}  // namespace
