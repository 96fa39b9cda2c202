// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The slices of the service in the system's trace. The variable is set before anything asks for it.
#include "kernel/base/TraceSlice.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <unistd.h>

#include "tests/kernel/ServiceTest.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

const std::string kFile = "/tmp/bivista-slices-" + std::to_string(getpid()) + ".json";
const int kIsSet = setenv("HOST_TRACE_FILE", kFile.c_str(), 1);

// Deletes the file when the process ends, which all of its threads outlive.
struct Remover {
    ~Remover() { remove(kFile.c_str()); }
} sRemover;

class TraceSliceTest : public ServiceTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(kIsSet, 0);
        start();
    }
    // The lines of this thread, or of all of them, as "B name" and "E".
    static std::vector<std::string> slices(pid_t tid) {
        std::vector<std::string> texts;
        std::ifstream file(kFile);
        for (std::string line; std::getline(file, line);) {
            if (tid != 0 && line.find("\"tid\":" + std::to_string(tid) + ",") == line.npos)
                continue;
            if (line.find(R"({"ph":"E")") == 0) texts.emplace_back("E");
            if (line.find(R"({"ph":"B")") != 0) continue;
            const size_t begin = line.find(R"("name":")") + sizeof(R"("name":)");
            texts.push_back("B " + line.substr(begin, line.find('"', begin) - begin));
        }
        return texts;
    }
    static std::vector<std::string> ownSlices() { return slices(gettid()); }
};

TEST_F(TraceSliceTest, LastAsLongAsTheirScope) {
    {
        const TraceSlice outer("outer");
        const TraceSlice inner([] { return std::string("inner"); });
    }
    EXPECT_THAT(ownSlices(), ElementsAre("B outer", "B inner", "E", "E"));
}

TEST_F(TraceSliceTest, KeepErrno) {
    errno = ETIME;
    { const TraceSlice slice("slice"); }
    EXPECT_EQ(errno, ETIME);
}

TEST_F(TraceSliceTest, AreThereForAnExchangeByItsName) {
    attach();
    EXPECT_GT(send("at%tchdebug=fwver\r").value, 0);
    EXPECT_THAT(ownSlices(), ElementsAre("B AT%TCHDEBUG=FWVER", "E"));
}

TEST_F(TraceSliceTest, AreNotThereForACommandThatIsNotSent) {
    send("AT%SWV\r");
    EXPECT_THAT(ownSlices(), ElementsAre());
}

TEST_F(TraceSliceTest, AreThereForAnAttachAndADetach) {
    attach();
    detach();
    EXPECT_THAT(slices(0), IsSupersetOf({"B attach serial", "B ATE0", "B detach serial"}));
}

TEST_F(TraceSliceTest, AreThereForThePanelAndItsFrames) {
    phone.cover.attach();
    while (!testing::Value(slices(0), Contains("B attach panel"))) usleep(1000);
    log.waitFor("setSubDisplayPowerState --");
    EXPECT_EQ(static_cast<Status>(service->drawSubDisplay(hidl_vec<uint32_t>(128 * 128))),
              Status::OK);
    while (!testing::Value(slices(0), Contains("B frame"))) usleep(1000);
    phone.cover.detach();
    while (!testing::Value(slices(0), Contains("B detach panel"))) usleep(1000);
}

TEST_F(TraceSliceTest, AreThereForAWaitForALockAndForNoneThatIsFree) {
    { const MutexLock lock(sSerialMutex, __func__); }
    EXPECT_THAT(ownSlices(), ElementsAre());
    std::thread waiting;
    pid_t tid = 0;
    {
        const MutexLock lock(sSerialMutex, __func__);
        waiting = std::thread([&] {
            tid = gettid();
            const MutexLock own(sSerialMutex, __func__);
        });
        while (!testing::Value(slices(0), Contains("B wait for sSerialMutex"))) usleep(1000);
    }
    waiting.join();
    EXPECT_THAT(slices(tid), ElementsAre("B wait for sSerialMutex", "E"));
}

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
