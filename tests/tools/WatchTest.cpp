// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/tools/Cli.h"

using testing::EndsWith;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

namespace {

class WatchTest : public CliTest {
  protected:
    // Waits until standard error ends so.
    void awaitErrors(const std::string& end) const {
        while (!errors().ends_with(end)) usleep(1000);
    }

    // Ends the watch and shows that it cleared no callback: the next call of the service is ours.
    void endWith(int signal, Process& watch) {
        EXPECT_EQ("events sent", nextCall()["method"]);
        watch.kill(signal);
        EXPECT_EQ(0, watch.wait());
        EXPECT_EQ(0, run({"call", "getBV2Connect"}).code);
        EXPECT_EQ("getBV2Connect", nextCall()["method"]);
    }
};

}  // namespace

TEST_F(WatchTest, PrintsLpwgEventsOfVersion1_1) {
    givenService();
    auto watch = start({"watch", "lpwg"});
    for (const char* event : {
                 R"("version":"1.1","status":-1,"name":"UNKNOWN","result":-1)",
                 R"("version":"1.1","status":0,"name":"WAKEUP","result":0)",
                 R"("version":"1.1","status":3,"name":"BV_PEN_DETECTION","result":0)",
                 R"("version":"1.1","status":7,"name":"BV_UPDATE_STATE","result":0)",
                 R"("version":"1.1","status":99,"name":null,"result":0)",
         }) {
        EXPECT_EQ(R"({"event":"lpwg",)" + std::string(event) + "}", watch->line());
    }
    EXPECT_EQ(Json::parse(R"({"method":"setLpwgCallback","args":["callback"]})"), nextCall());
    endWith(SIGINT, *watch);
}

TEST_F(WatchTest, PrintsTheSameWhenAskedForJson) {
    givenService();
    EXPECT_EQ(R"({"event":"sub","state":"INITIALIZED","code":1})",
              start({"watch", "sub", "--json"})->line());
    EXPECT_EQ(R"({"event":"lpwg","version":"1.0","status":-1,"name":"UNKNOWN","result":-1})",
              start({"watch", "lpwg", "--json", "--v1_0"})->line());
}

TEST_F(WatchTest, ACallbackOfVersion1_0ReceivesItsOwnEvents) {
    givenService();
    auto watch = start({"watch", "lpwg", "--v1_0"});
    for (const char* event : {
                 R"("version":"1.0","status":-1,"name":"UNKNOWN","result":-1)",
                 R"("version":"1.0","status":0,"name":"WAKEUP","result":0)",
         }) {
        EXPECT_EQ(R"({"event":"lpwg",)" + std::string(event) + "}", watch->line());
    }
    for (int i = 0; i < 3; ++i) watch->line();
    EXPECT_EQ("setLpwgCallback", nextCall()["method"]);
    endWith(SIGTERM, *watch);
}

TEST_F(WatchTest, PrintsStatesOfTheSubDisplay) {
    givenService();
    auto watch = start({"watch", "sub"});
    EXPECT_EQ(R"({"event":"sub","state":"INITIALIZED","code":1})", watch->line());
    EXPECT_EQ(R"({"event":"sub","state":"ON","code":3})", watch->line());
    EXPECT_EQ(R"({"event":"sub","state":"OFF","code":2})", watch->line());
    EXPECT_EQ(R"({"event":"sub","state":"UNINITIALIZED","code":0})", watch->line());
    EXPECT_EQ(R"({"event":"sub","state":null,"code":9})", watch->line());
    EXPECT_EQ("setSubDisplayCallback", nextCall()["method"]);
    endWith(SIGTERM, *watch);
}

// A job in the background of a script has SIGINT ignored.
TEST_F(WatchTest, ASignalEndsItThatWasIgnoredWhenItWasStarted) {
    givenService();
    signal(SIGINT, SIG_IGN);
    auto watch = start({"watch", "sub"});
    signal(SIGINT, SIG_DFL);
    EXPECT_NE("", watch->line());
    watch->kill(SIGINT);
    EXPECT_EQ(0, watch->wait());
}

TEST_F(WatchTest, AServiceThatDiesEndsTheWatchWithThree) {
    givenService();
    auto watch = start({"watch", "lpwg"});
    for (int i = 0; i < 5; ++i) EXPECT_NE("", watch->line());
    killService();
    EXPECT_EQ(3, watch->wait());
    EXPECT_THAT(errors(), HasSubstr("the service died"));
}

TEST_F(WatchTest, TellsThatItTakesTheCallbackAndFromWhom) {
    givenService();
    const std::map<std::string, std::string> told = {{"lpwg", "touch and pen events"},
                                                     {"sub", "states of the sub display"}};
    for (const auto& [kind, what] : told) {
        auto watch = start({"watch", kind});
        EXPECT_NE("", watch->line());
        awaitErrors("Ctrl-C\n");
        EXPECT_EQ("bivistactl: watching " + what +
                          "; this takes their callback from the client that had it. End it with "
                          "Ctrl-C\n",
                  errors());
    }
}

TEST_F(WatchTest, AClientThatTakesTheCallbackEndsTheWatchWithOne) {
    givenService();
    const std::map<std::vector<std::string>, std::string> told = {
            {{"watch", "lpwg"}, "touch and pen events"},
            {{"watch", "lpwg", "--v1_0"}, "touch and pen events"},
            {{"watch", "sub"}, "states of the sub display"},
            {{"sub", "watch"}, "states of the sub display"}};
    for (const auto& [words, what] : told) {
        auto first = start(words);
        EXPECT_NE("", first->line());
        awaitErrors("Ctrl-C\n");
        auto second = startWithErrors(mFolder + "/second-errors", words);
        EXPECT_EQ(1, first->wait());
        EXPECT_THAT(errors(), EndsWith("Ctrl-C\nbivistactl: the service has let go of the callback "
                                       "for " +
                                       what +
                                       ": another client has taken it, or cleared it. Watch again "
                                       "to take it back.\n"));
        EXPECT_NE("", second->line());
        second->kill(SIGINT);
        EXPECT_EQ(0, second->wait());
    }
}

// As the real one does when the callback for touch and pen events is cleared.
TEST_F(WatchTest, AServiceThatHangsAfterItLetGoEndsTheWatchWithOne) {
    const std::string fifo = mFolder + "/fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    givenService({"--hold-in", "setSubDisplayCallback", fifo});
    std::ofstream release(fifo, std::ios::in | std::ios::out);
    release << '1' << std::flush;
    auto watch = start({"watch", "sub"});
    EXPECT_NE("", watch->line());
    awaitErrors("Ctrl-C\n");
    auto clearing =
            startWithErrors(mFolder + "/second-errors", {"call", "setSubDisplayCallback", "null"});
    EXPECT_EQ(1, watch->wait());
    EXPECT_THAT(errors(), HasSubstr("has let go of the callback"));
}

// Both reasons for the end come at once, in any order.
TEST_F(WatchTest, AServiceThatDiesIsNeverTakenForAnotherClient) {
    for (int i = 0; i < 10; ++i) {
        givenService();
        auto watch = start({"watch", "sub"});
        EXPECT_NE("", watch->line());
        killService();
        EXPECT_EQ(3, watch->wait());
    }
}

TEST_F(WatchTest, AServiceThatDiesAtTheRegistrationEndsTheWatchWithThree) {
    givenService({"--exit-in", "setLpwgCallback"});
    EXPECT_EQ(3, run({"watch", "lpwg"}).code);
}

TEST_F(WatchTest, WithoutAServiceItEndsWithThree) {
    EXPECT_EQ(3, run({"watch", "lpwg"}).code);
    EXPECT_EQ(3, run({"watch", "sub"}).code);
}

TEST_F(WatchTest, OutputThatCannotBeWrittenEndsTheWatchWithFour) {
    givenService();
    int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(4, run({"watch", "sub"}, full).code);
    close(full);
}

TEST_F(WatchTest, SomethingElseIsWrongUsage) {
    EXPECT_EQ(2, run({"watch"}).code);
    EXPECT_EQ(2, run({"watch", "pen"}).code);
    EXPECT_EQ(2, run({"watch", "sub", "--v1_0"}).code);
    EXPECT_EQ(2, run({"watch", "lpwg", "sub"}).code);
}
