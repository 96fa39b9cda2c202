// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "host/usbhost/DeviceTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <set>
#include <string>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using usbhost::Change;
using usbhost::DeviceTree;

namespace usbhost {

void PrintTo(const Change& change, std::ostream* out) {
    *out << (change.kind == Change::ADDED ? "added " : "removed ") << change.node;
}

}  // namespace usbhost

namespace {

class DeviceTreeTest : public testing::Test {
  protected:
    DeviceTreeTest() : mDev(makeFolder()), mTree(mDev) {}
    ~DeviceTreeTest() override { fs::remove_all(mDev); }

    static std::string makeFolder() {
        char name[] = "/tmp/usb-tree-XXXXXX";
        return mkdtemp(name);
    }

    std::string path(const std::string& below) const { return mDev + "/bus/usb/" + below; }
    void makeBus(const std::string& bus) { fs::create_directories(path(bus)); }
    void plug(const std::string& node) { std::ofstream(path(node)) << "x"; }
    void unplug(const std::string& node) { ASSERT_TRUE(fs::remove(path(node))); }

    Change added(const std::string& node) const { return {Change::ADDED, path(node)}; }
    Change removed(const std::string& node) const { return {Change::REMOVED, path(node)}; }

    std::deque<Change> start() {
        std::deque<Change> changes;
        mTree.start(&changes);
        return changes;
    }

    std::deque<Change> read() {
        std::deque<Change> changes;
        mTree.read(&changes);
        return changes;
    }

    bool somethingToRead() {
        pollfd wait = {mTree.fd(), POLLIN, 0};
        return poll(&wait, 1, 0) == 1;
    }

    const std::string mDev;
    DeviceTree mTree;
};

}  // namespace

TEST_F(DeviceTreeTest, DevicesPresentAtTheStartAreReportedInOrder) {
    makeBus("002");
    makeBus("001");
    plug("002/001");
    plug("001/002");
    plug("001/001");
    EXPECT_THAT(start(), ElementsAre(added("001/001"), added("001/002"), added("002/001")));
    EXPECT_FALSE(somethingToRead());
}

TEST_F(DeviceTreeTest, DevicesThatComeAndGoAreReportedInOrder) {
    makeBus("001");
    plug("001/001");
    start();
    plug("001/002");
    unplug("001/001");
    plug("001/003");
    EXPECT_THAT(read(), ElementsAre(added("001/002"), removed("001/001"), added("001/003")));
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(DeviceTreeTest, ANodeThatIsRenamedIntoPlaceIsADevice) {
    makeBus("001");
    start();
    plug("001/.002.new");
    fs::rename(path("001/.002.new"), path("001/002"));
    EXPECT_THAT(read(), ElementsAre(added("001/002")));
}

TEST_F(DeviceTreeTest, ANodeThatIsRenamedAwayIsGone) {
    makeBus("001");
    plug("001/002");
    start();
    fs::rename(path("001/002"), mDev + "/aside");
    EXPECT_THAT(read(), ElementsAre(removed("001/002")));
}

TEST_F(DeviceTreeTest, ANodeThatReplacesAnotherIsAnotherDevice) {
    makeBus("001");
    plug("001/002");
    start();
    plug("001/.new");
    fs::rename(path("001/.new"), path("001/002"));
    EXPECT_THAT(read(), ElementsAre(removed("001/002"), added("001/002")));
}

TEST_F(DeviceTreeTest, ADeviceThatCameBackBeforeItWasReadIsReportedAsBoth) {
    makeBus("001");
    plug("001/002");
    start();
    unplug("001/002");
    plug("001/002");
    EXPECT_THAT(read(), ElementsAre(removed("001/002"), added("001/002")));
}

TEST_F(DeviceTreeTest, ADeviceThatIsGoneBeforeItWasReadIsNotReported) {
    makeBus("001");
    start();
    plug("001/002");
    unplug("001/002");
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(DeviceTreeTest, ADeviceListedBeforeItsEventIsReportedOnce) {
    makeBus("001");
    start();
    // The new bus is listed when its own event is read; the device's event may follow.
    makeBus("002");
    plug("002/001");
    EXPECT_THAT(read(), ElementsAre(added("002/001")));
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(DeviceTreeTest, EveryFolderOnTheWayMayAppearLater) {
    EXPECT_THAT(start(), IsEmpty());
    fs::create_directory(mDev + "/bus");
    EXPECT_THAT(read(), IsEmpty());
    fs::create_directory(mDev + "/bus/usb");
    EXPECT_THAT(read(), IsEmpty());
    makeBus("001");
    EXPECT_THAT(read(), IsEmpty());
    plug("001/002");
    EXPECT_THAT(read(), ElementsAre(added("001/002")));
}

TEST_F(DeviceTreeTest, TheWholePathMayAppearAtOnce) {
    start();
    makeBus("001");
    plug("001/002");
    EXPECT_THAT(read(), ElementsAre(added("001/002")));
}

TEST_F(DeviceTreeTest, TheWholePathMayVanishAndComeBack) {
    makeBus("001");
    plug("001/002");
    start();
    fs::remove_all(mDev + "/bus");
    EXPECT_THAT(read(), ElementsAre(removed("001/002")));
    makeBus("001");
    plug("001/002");
    EXPECT_THAT(read(), ElementsAre(added("001/002")));
}

TEST_F(DeviceTreeTest, WithABusMovedAwayItsDevicesAreGone) {
    makeBus("001");
    makeBus("0010");
    plug("001/001");
    plug("001/002");
    plug("0010/001");
    start();
    fs::rename(path("001"), mDev + "/aside");
    EXPECT_THAT(read(), ElementsAre(removed("001/001"), removed("001/002")));
    std::ofstream(mDev + "/aside/003") << "x";
    EXPECT_FALSE(somethingToRead());
}

TEST_F(DeviceTreeTest, NamesThatAreNoNumbersArePassedOver) {
    makeBus("001");
    makeBus("x01");
    plug("001/002x");
    plug("001/-1");
    plug("001/.3");
    plug("x01/001");
    plug("004");
    EXPECT_THAT(start(), IsEmpty());
    plug("001/x");
    plug("x");
    std::ofstream(mDev + "/ttyACM0") << "x";
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(DeviceTreeTest, AFolderWithADevicesNameIsNoDevice) {
    makeBus("001/002");
    EXPECT_THAT(start(), IsEmpty());
    makeBus("001/003");
    EXPECT_THAT(read(), IsEmpty());
}

TEST_F(DeviceTreeTest, WithoutItsTopFolderThereIsNothing) {
    DeviceTree tree(mDev + "/absent");
    std::deque<Change> changes;
    tree.start(&changes);
    tree.read(&changes);
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(DeviceTreeTest, AfterLostEventsTheEndIsRight) {
    makeBus("001");
    makeBus("002");
    plug("001/001");
    plug("001/002");
    plug("002/001");
    start();

    // More events than the kernel keeps.
    size_t limit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
    ASSERT_GT(limit, 0u);
    for (size_t i = 0; i <= limit; ++i) {
        plug("001/100");
        unplug("001/100");
    }
    // Nobody is told of these.
    unplug("001/001");
    plug("001/.new");
    fs::rename(path("001/.new"), path("001/002"));
    plug("001/003");
    fs::remove_all(path("002"));
    makeBus("003");
    plug("003/001");

    std::set<std::string> present = {path("001/001"), path("001/002"), path("002/001")};
    std::deque<Change> changes = read();
    for (const Change& change : changes) {
        if (change.kind == Change::ADDED) {
            EXPECT_TRUE(present.insert(change.node).second) << change.node;
        } else {
            EXPECT_EQ(1u, present.erase(change.node)) << change.node;
        }
    }
    EXPECT_THAT(present, ElementsAre(path("001/002"), path("001/003"), path("003/001")));
    EXPECT_THAT(changes, testing::IsSupersetOf({removed("001/002"), added("001/002")}));

    // And it goes on.
    plug("003/002");
    EXPECT_THAT(read(), ElementsAre(added("003/002")));
}
