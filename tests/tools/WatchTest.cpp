#include <fcntl.h>
#include <gmock/gmock.h>

#include <signal.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>

#include "tests/tools/Cli.h"

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

namespace {

class WatchTest : public CliTest {
  protected:
    // Ends the watch and tells that it cleared no callback: the next call of the service is ours.
    void endWith(int signal, Process& watch) {
        EXPECT_EQ("events sent", nextCall()["method"]);
        watch.signal(signal);
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
    watch->signal(SIGINT);
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
