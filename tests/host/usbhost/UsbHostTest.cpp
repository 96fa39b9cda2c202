// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <usbhost/usbhost.h>
#include <utils/Mutex.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/cutils/PrivateWorld.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Records what a context's loop reports; `onEvent` decides what each callback returns.
class Recorder {
  public:
    std::function<int(const std::string&)> onEvent = [](const std::string&) { return 0; };

    void run(usb_host_context* context) { usb_host_run(context, added, removed, done, this); }

    int load(usb_host_context* context) {
        return usb_host_load(context, added, removed, done, this);
    }

    // Waits for that many events.
    std::vector<std::string> waitFor(size_t count) EXCLUDES(mLock) {
        const android::AutoMutex hold(mLock);
        while (mEvents.size() < count) mChanged.wait(mLock);
        return mEvents;
    }

    std::vector<std::string> events() EXCLUDES(mLock) {
        const android::AutoMutex hold(mLock);
        return mEvents;
    }

  private:
    static int added(const char* node, void* self) {
        return static_cast<Recorder*>(self)->record(std::string("added ") + node);
    }
    static int removed(const char* node, void* self) {
        return static_cast<Recorder*>(self)->record(std::string("removed ") + node);
    }
    static int done(void* self) { return static_cast<Recorder*>(self)->record("done"); }

    int record(const std::string& event) EXCLUDES(mLock) {
        {
            const android::AutoMutex hold(mLock);
            mEvents.push_back(event);
            mChanged.notify_all();
        }
        return onEvent(event);
    }

    android::Mutex mLock;
    std::condition_variable_any mChanged;
    std::vector<std::string> mEvents GUARDED_BY(mLock);
};

class UsbHostTest : public testing::Test {
  protected:
    static void plug(const std::string& node) {
        fs::create_directories(fs::path("/dev/bus/usb/" + node).parent_path());
        writeFile("/dev/bus/usb/" + node, "x");
    }

    static size_t openDescriptors() {
        auto entries = fs::directory_iterator("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

    // Waits until the context's descriptor is readable.
    static void awaitEvent(usb_host_context* context) {
        pollfd wait = {usb_host_get_fd(context), POLLIN, 0};
        ASSERT_EQ(1, poll(&wait, 1, -1));
        ASSERT_EQ(POLLIN, wait.revents);
    }

    Recorder mRecorder;
};

}  // namespace

TEST_F(UsbHostTest, ReportsWhatIsPresentThenThatItIsDoneThenChanges) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    ASSERT_NE(nullptr, context);
    std::thread thread([&] { mRecorder.run(context); });

    mRecorder.waitFor(2);
    plug("001/002");
    mRecorder.waitFor(3);
    fs::remove("/dev/bus/usb/001/001");
    EXPECT_THAT(mRecorder.waitFor(4),
                ElementsAre("added /dev/bus/usb/001/001", "done", "added /dev/bus/usb/001/002",
                            "removed /dev/bus/usb/001/001"));

    usb_host_cleanup(context);
    thread.join();
}

TEST_F(UsbHostTest, TheBusMayAppearLater) {
    usb_host_context* context = usb_host_init();
    std::thread thread([&] { mRecorder.run(context); });
    mRecorder.waitFor(1);
    plug("001/002");
    EXPECT_THAT(mRecorder.waitFor(2), ElementsAre("done", "added /dev/bus/usb/001/002"));
    usb_host_cleanup(context);
    thread.join();
}

TEST_F(UsbHostTest, CleaningUpAtAnyMomentEndsTheLoop) {
    for (int i = 0; i < 20; ++i) plug("001/" + std::to_string(i));
    size_t before = openDescriptors();
    for (int i = 0; i < 200; ++i) {
        Recorder recorder;
        usb_host_context* context = usb_host_init();
        ASSERT_NE(nullptr, context);
        std::thread thread([&] { recorder.run(context); });
        // From before the loop starts to after it sleeps.
        if (i % 22 != 0) recorder.waitFor(static_cast<size_t>(i % 22));
        usb_host_cleanup(context);
        thread.join();
    }
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(UsbHostTest, CleanedUpBeforeItRanItReportsNothing) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    usb_host_cleanup(context);
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(), IsEmpty());
}

TEST_F(UsbHostTest, ALateRunDoesNotTakeAnotherContext) {
    plug("001/001");
    usb_host_context* old = usb_host_init();
    usb_host_cleanup(old);
    usb_host_context* context = usb_host_init();
    EXPECT_NE(old, context);
    mRecorder.run(old);
    EXPECT_THAT(mRecorder.events(), IsEmpty());
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, CleanedUpByACallbackItReportsNothingMore) {
    plug("001/001");
    plug("001/002");
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [context](const std::string&) {
        usb_host_cleanup(context);
        return 0;
    };
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001"));
}

TEST_F(UsbHostTest, CleanedUpByTheDoneCallbackItEnds) {
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [context](const std::string&) {
        usb_host_cleanup(context);
        return 0;
    };
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(), ElementsAre("done"));
}

TEST_F(UsbHostTest, SeveralThreadsMayCleanUp) {
    usb_host_context* context = usb_host_init();
    std::thread thread([&] { mRecorder.run(context); });
    mRecorder.waitFor(1);
    std::thread first([context] { usb_host_cleanup(context); });
    std::thread second([context] { usb_host_cleanup(context); });
    first.join();
    second.join();
    thread.join();
    usb_host_cleanup(context);
    usb_host_cleanup(nullptr);
}

TEST_F(UsbHostTest, AnAddedCallbackMayEndTheLoop) {
    plug("001/001");
    plug("001/002");
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [](const std::string&) { return 1; };
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, TheDoneCallbackMayEndTheLoop) {
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [](const std::string&) { return 1; };
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(), ElementsAre("done"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, ARemovedCallbackMayEndTheLoop) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [](const std::string& event) {
        if (event == "done") fs::remove("/dev/bus/usb/001/001");
        return event.starts_with("removed") ? 1 : 0;
    };
    mRecorder.run(context);
    EXPECT_THAT(mRecorder.events(),
                ElementsAre("added /dev/bus/usb/001/001", "done", "removed /dev/bus/usb/001/001"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, EveryCallbackMayBeNull) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    std::thread thread([context] { usb_host_run(context, nullptr, nullptr, nullptr, nullptr); });
    plug("001/002");
    fs::remove("/dev/bus/usb/001/001");
    usb_host_cleanup(context);
    thread.join();
}

TEST_F(UsbHostTest, ASignalOnItsThreadDoesNotEndTheLoop) {
    signal(SIGUSR1, [](int) {});
    usb_host_context* context = usb_host_init();
    std::thread thread([&] { mRecorder.run(context); });
    mRecorder.waitFor(1);
    for (size_t i = 0; i < 100; ++i) {
        pthread_kill(thread.native_handle(), SIGUSR1);
        plug("001/" + std::to_string(i));
        mRecorder.waitFor(i + 2);
    }
    usb_host_cleanup(context);
    thread.join();
}

TEST_F(UsbHostTest, WithoutDescriptorsLeftThereIsNoContext) {
    NoDescriptorsLeft limit;
    EXPECT_EQ(nullptr, usb_host_init());
}

TEST_F(UsbHostTest, ACallersOwnLoopReportsWhatIsPresentThenChanges) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    EXPECT_EQ(0, mRecorder.load(context));
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001", "done"));

    plug("001/002");
    awaitEvent(context);
    EXPECT_EQ(0, usb_host_read_event(context));
    fs::remove("/dev/bus/usb/001/001");
    awaitEvent(context);
    EXPECT_EQ(0, usb_host_read_event(context));
    EXPECT_THAT(mRecorder.events(),
                ElementsAre("added /dev/bus/usb/001/001", "done", "added /dev/bus/usb/001/002",
                            "removed /dev/bus/usb/001/001"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, WithoutChangesTheDescriptorIsNotReadableAndNothingIsReported) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    mRecorder.load(context);
    pollfd wait = {usb_host_get_fd(context), POLLIN, 0};
    EXPECT_EQ(0, poll(&wait, 1, 0));
    EXPECT_EQ(0, usb_host_read_event(context));
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001", "done"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, LoadTellsThatACallbackAskedForTheEnd) {
    plug("001/001");
    plug("001/002");
    for (const std::string end : {"added /dev/bus/usb/001/001", "done"}) {
        Recorder recorder;
        usb_host_context* context = usb_host_init();
        recorder.onEvent = [&end](const std::string& event) { return event == end ? 1 : 0; };
        EXPECT_NE(0, recorder.load(context)) << end;
        EXPECT_EQ(end, recorder.events().back());
        usb_host_cleanup(context);
    }
}

TEST_F(UsbHostTest, ReadEventTellsThatACallbackAskedForTheEnd) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [](const std::string& event) { return event == "done" ? 0 : -1; };
    fs::remove("/dev/bus/usb/001/001");
    EXPECT_EQ(0, mRecorder.load(context));
    plug("001/002");
    awaitEvent(context);
    EXPECT_NE(0, usb_host_read_event(context));
    EXPECT_THAT(mRecorder.events(), ElementsAre("done", "added /dev/bus/usb/001/002"));
    usb_host_cleanup(context);
}

TEST_F(UsbHostTest, ACallbackThatCleansUpEndsTheCallersLoop) {
    plug("001/001");
    plug("001/002");
    usb_host_context* context = usb_host_init();
    mRecorder.onEvent = [context](const std::string&) {
        usb_host_cleanup(context);
        return 0;
    };
    EXPECT_NE(0, mRecorder.load(context));
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001"));
}

TEST_F(UsbHostTest, ACleanedUpContextHasNoDescriptorAndNoEvents) {
    plug("001/001");
    usb_host_context* context = usb_host_init();
    EXPECT_EQ(0, mRecorder.load(context));
    usb_host_cleanup(context);
    plug("001/002");
    EXPECT_EQ(-1, usb_host_get_fd(context));
    EXPECT_NE(0, usb_host_read_event(context));
    EXPECT_NE(0, mRecorder.load(context));
    EXPECT_THAT(mRecorder.events(), ElementsAre("added /dev/bus/usb/001/001", "done"));
}
