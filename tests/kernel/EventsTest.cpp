// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The events of cover, tty, USB and upgrades as the dump tells them, and the dump's options for
// them.
#include <csignal>
#include <filesystem>

#include <unistd.h>

#include <nlohmann/json.hpp>
#include "diagnostics/Moment.h"
#include "kernel/base/Version.h"
#include "tests/kernel/DumpReader.h"
#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class EventsTest : public ServiceTest {
  protected:
    nlohmann::json dump(const hidl_vec<hidl_string>& options) {
        return nlohmann::json::parse(dumpOf(*service, options));
    }
    std::vector<std::string> events() { return eventsButUsbOf(*service, before); }
    void forget() { before = lastEventOf(*service); }
    void awaitEvent(const std::string& event) {
        while (!testing::Value(eventsOf(*service, before), Contains(event))) usleep(1000);
    }

    uint64_t before = 0;
};

TEST_F(EventsTest, BeginWithTheStart) {
    make();
    EXPECT_EQ(eventsOf(*service).front(), std::string("start ") + kVersion);
    awaitWatching();
}

TEST_F(EventsTest, TellOfAnAttachAndADetach) {
    start();
    forget();
    attach();
    awaitEvent("attach usb");
    detach();
    awaitEvent("detach usb");
    EXPECT_THAT(events(), ElementsAre("attach serial", "detach serial"));
}

TEST_F(EventsTest, TellOfATtyThatCannotBeOpened) {
    start();
    forget();
    createNode("ttyACM0");
    phone.faults.set("node /dev/ttyACM0 missing");
    service->serialDeviceAdded();
    EXPECT_THAT(eventsOf(*service, before),
                Contains("failure serialDeviceAdded No such file or directory"));
}

TEST_F(EventsTest, TellOfALoader) {
    start();
    forget();
    phone.loader.attach();
    awaitEvent("attach loader");
    phone.loader.detach();
    awaitEvent("detach loader");
}

TEST_F(EventsTest, TellOfCommandsThatFail) {
    start();
    forget();
    send("AT%SWV\r");
    attach();
    send("AT%SWV\r");
    send("at%nonsense=1\r");
    send("AT\x1B");
    EXPECT_THAT(events(), ElementsAre("refused AT%SWV No such device", "attach serial",
                                      "failure AT%NONSENSE Command not supported",
                                      "refused AT<0x1B> Invalid argument"));
}

TEST_F(EventsTest, TellOfATimeOutAndWhatItLeaves) {
    start();
    attach();
    forget();
    phone.faults.set("on AT%SWV silent times 1");
    send("AT%SWV\r");
    EXPECT_THAT(events(),
                ElementsAre("timeout AT%SWV Timer expired", "votes leaked [1]", "recovery"));
    detach();
    forget();
    attach();
    EXPECT_THAT(events(), ElementsAre("votes reset [1]", "attach serial"));
}

TEST_F(EventsTest, TellOfARecoveryThatTheKernelDoesNotTake) {
    start();
    forget();
    phone.files.remove(phone::kRecovery);
    EXPECT_LT(service->usbRecovery(), 0);
    EXPECT_THAT(events(), ElementsAre("recovery", "failure usbRecovery No such file or directory"));
}

TEST_F(EventsTest, TellOfUpgrades) {
    start();
    attach();
    forget();
    service->doFirmwareUpgrade();
    service->cancelFirmwareUpgrade();
    service->goDload();
    phone.files.remove(phone::kFirmwareWrite);
    service->doRecoveryUpgrade();
    EXPECT_THAT(events(),
                AllOf(Contains("upgrade UPGRADE OK"), Contains("upgrade CANCEL OK"),
                      Contains("upgrade AT%GODLOAD OK"), Contains("upgrade RECOVERY FAIL")));
}

TEST_F(EventsTest, TellWhyAFirmwareCheckFails) {
    start();
    attach();
    forget();
    std::filesystem::remove_all("/system_ext/etc/dfu");
    EXPECT_EQ(static_cast<Status>(service->checkFirmwareVersion()), Status::FAIL);
    EXPECT_THAT(events(), ElementsAre("failure checkFirmwareVersion DIR open fail"));
}

TEST_F(EventsTest, TellOfTheSignalWithTheTimeOfItsHandler) {
    start();
    forget();
    Bivista::sighandler(SIGUSR1);
    const uint64_t after = monotonicMicros();
    EXPECT_THAT(events(), ElementsAre("signal SIGUSR1"));
    EXPECT_LE(dump({"--json", "--since", std::to_string(before)})["events"][0]["monotonicMicros"],
              after);
}

// Meant: SIGUSR2 is not the stop; its handler only installs itself.
TEST_F(EventsTest, TellOfNoOtherSignal) {
    start();
    forget();
    Bivista::sighandler(SIGUSR2);
    EXPECT_THAT(events(), IsEmpty());
    signal(SIGUSR2, SIG_DFL);
}

struct Listener : IBivistaAtCallback {
    explicit Listener(bool isDead = false) : isDead(isDead) {}
    Return<void> onAtResponse(const hidl_string& /*line*/) override {
        if (isDead) return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT);
        return Void();
    }
    const bool isDead;
};

TEST_F(EventsTest, TellOfACallbackOnceForAllItsCommands) {
    start();
    attach();
    forget();
    const auto ask = [&](const sp<IBivistaAtCallback>& callback) {
        service->sendAtCommand("AT%SWV", callback, [](auto...) {});
    };
    const sp<Listener> first = new Listener;
    for (int i = 0; i < 3; ++i) ask(first);
    ask(nullptr);
    ask(new Listener(true));
    EXPECT_THAT(events(),
                ElementsAre("callback at registered", "callback at replaced", "callback at died"));
    EXPECT_EQ(dump({"--json"})["callbacks"]["at"], true);
}

TEST_F(EventsTest, AreKeptByAReset) {
    start();
    attach();
    forget();
    send("AT%NONSENSE\r");
    dumpOf(*service, {"--reset"});
    EXPECT_THAT(events(), ElementsAre("failure AT%NONSENSE Command not supported"));
}

TEST_F(EventsTest, AreInTheDumpInFull) {
    start();
    forget();
    service->setRgbTune(1, 2, 3, UINT32_MAX);
    const nlohmann::json all = dump({"--events", "--json"});
    std::vector<std::string> sections;
    for (const auto& [name, section] : all.items()) sections.push_back(name);
    EXPECT_THAT(sections,
                testing::UnorderedElementsAre("service", "callbacks", "history", "events"));
    EXPECT_EQ(all["history"], nlohmann::json({{"first", 1}, {"last", before + 1}, {"lost", 0}}));
    nlohmann::json event = all["events"].back();
    EXPECT_GT(event["wallMicros"], 1'500'000'000'000'000);
    EXPECT_GT(event["monotonicMicros"], 0);
    EXPECT_LE(event["monotonicMicros"], all["service"]["monotonicMicros"]);
    event.erase("wallMicros");
    event.erase("monotonicMicros");
    EXPECT_EQ(event, nlohmann::json({{"number", before + 1},
                                     {"kind", "setting"},
                                     {"what", "colour.rgb"},
                                     {"values", {1, 2, 3, 4294967295}},
                                     {"cause", nullptr},
                                     {"repeats", 0}}));
}

TEST_F(EventsTest, OfASliderThatMovesAreOne) {
    start();
    forget();
    for (int level = 1; level <= 40; ++level) service->setBrightness(level);
    EXPECT_THAT(events(), ElementsAre("setting brightness [40] +39"));
    service->setScreenMode(ScreenMode(2));
    service->setBrightness(41);
    EXPECT_THAT(events(), ElementsAre("setting brightness [40] +39", "setting colour.mode [2]",
                                      "setting brightness [41]"));
}

TEST_F(EventsTest, AreALineEachForPeople) {
    start();
    send("AT%SWV\r");
    EXPECT_THAT(dumpOf(*service, {"--events"}),
                MatchesRegex(
                        "service:\n(  .*\n)+callbacks:\n  lpwg        null\n"
                        "  subDisplay  false\n  at          false\n"
                        "history:\n  first  1\n  last   [0-9]+\n  lost   0\n"
                        "events:\n  number=1 wallMicros=[0-9]+ monotonicMicros=[0-9]+ "
                        "kind=start what=1.1.0 values=\\[\\] cause=null repeats=0\n(  .*\n)*"
                        "  number=[0-9]+ wallMicros=[0-9]+ monotonicMicros=[0-9]+ "
                        "kind=refused what=AT%SWV values=\\[\\] cause=No such device repeats=0\n"));
}

TEST_F(EventsTest, AboveANumberAreThoseThatAreNew) {
    start();
    for (int i = 0; i < 300; ++i) send("AT%SWV\r");
    const uint64_t last = lastEventOf(*service);
    const auto since = [&](const std::string& number) {
        return dump({"--json", "--since", number});
    };
    EXPECT_EQ(since("0")["history"],
              nlohmann::json({{"first", last - 255}, {"last", last}, {"lost", last - 256}}));
    EXPECT_EQ(since("0")["events"].size(), 256u);
    EXPECT_EQ(since(std::to_string(last - 1))["events"].size(), 1u);
    EXPECT_EQ(since(std::to_string(last - 1))["history"]["lost"], 0);
    EXPECT_EQ(since(std::to_string(last))["events"], nlohmann::json::array());
    EXPECT_EQ(since("18446744073709551615")["events"], nlohmann::json::array());
}

TEST_F(EventsTest, AskNothingOfTheCover) {
    start();
    attach();
    const uint64_t from = journal.next();
    dumpOf(*service, {"--events"});
    dumpOf(*service, {"--since", "1"});
    EXPECT_THAT(commands(from), IsEmpty());
}

TEST_F(EventsTest, ReportABadNumber) {
    start();
    for (const std::string wrong :
         {"", "x", "-1", "+1", " 1", "1 ", "0x1", "1.5", "18446744073709551616", "--json"}) {
        EXPECT_EQ(dumpOf(*service, {"--json", "--since", wrong}),
                  "--since takes the number of an event, not \"" + wrong +
                          "\"; --help lists the options.\n");
    }
    EXPECT_EQ(dumpOf(*service, {"--since"}),
              "--since takes the number of an event, not \"\"; --help lists the options.\n");
    EXPECT_THAT(dumpOf(*service, {"--since", "1\n"}), HasSubstr("\"1<0x0A>\""));
    const std::string withNul("1\0002", 3);
    EXPECT_THAT(dumpOf(*service, {"--since", withNul}), HasSubstr("\"1<0x00>2\""));
    EXPECT_THAT(dumpOf(*service, {"--since=1"}), HasSubstr("Unknown option"));
}

TEST_F(EventsTest, DoNotGoWithAReset) {
    start();
    send("AT%SWV\r");
    for (const hidl_vec<hidl_string>& options :
         {hidl_vec<hidl_string>{"--events", "--reset"}, {"--reset", "--since", "1"}}) {
        EXPECT_EQ(dumpOf(*service, options),
                  "--reset prints the counters, --events does not: give one of them.\n");
    }
    EXPECT_EQ(dump({"--json"})["at"]["refused"], 1) << "nothing is forgotten";
}

TEST_F(EventsTest, StandBesideWhichServiceItIs) {
    start();
    const nlohmann::json first = dump({"--json"});
    const nlohmann::json of = first["service"];
    EXPECT_EQ(of["version"], kVersion);
    EXPECT_THAT(of["build"].get<std::string>(), MatchesRegex("[0-9a-f]{40}"));
    EXPECT_EQ(of["pid"], getpid());
    EXPECT_LE(of["startedWallMicros"], of["wallMicros"]);
    EXPECT_GE(of["uptimeSeconds"], 0);
    EXPECT_EQ(first["callbacks"],
              nlohmann::json({{"lpwg", nullptr}, {"subDisplay", false}, {"at", false}}));
    const nlohmann::json later = dump({"--json"})["service"];
    EXPECT_EQ(later["startedWallMicros"], of["startedWallMicros"]);
    EXPECT_GT(later["monotonicMicros"], of["monotonicMicros"]);
    EXPECT_FALSE(first.contains("events"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
