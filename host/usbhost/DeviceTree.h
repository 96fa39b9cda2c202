// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <sys/types.h>

#include <deque>
#include <map>
#include <string>
#include <string_view>

struct inotify_event;

namespace usbhost {

// One change of the bus.
struct Change {
    enum Kind { ADDED, REMOVED };
    Kind kind;
    // Path of the device's node.
    std::string node;

    bool operator==(const Change&) const = default;
};

// Follows the device nodes below <dev>/bus/usb/<bus>/ with inotify. Any of these folders may appear
// and vanish at any time. Names of buses and devices are digits; others are passed over. Not
// thread-safe.
class DeviceTree {
  public:
    // `dev`: "/dev", or its like in a test.
    explicit DeviceTree(std::string dev);

    // Readable when there are changes to read; negative when the system has no inotify left.
    int fd() const { return mInotify.get(); }

    // Starts to watch; each device present is a change.
    void start(std::deque<Change>* changes);

    // Takes what has happened since, in order. Does not wait.
    void read(std::deque<Change>* changes);

  private:
    // What a folder holds that matters: <dev> holds "bus", which holds "usb", which holds buses,
    // which hold devices.
    enum class Level { DEV, BUS, USB, DEVICES };

    struct Folder {
        std::string path;
        Level level;
    };

    // Distinguishes a node from a later one of the same name.
    struct Identity {
        dev_t device;
        ino_t inode;

        bool operator==(const Identity&) const = default;
    };

    static bool matters(Level level, std::string_view name);
    static bool identify(const std::string& node, Identity* identity);

    void watch(const std::string& path, Level level, std::deque<Change>* changes);
    void handle(const inotify_event& event, std::deque<Change>* changes);
    void entered(const Folder& folder, const std::string& name, std::deque<Change>* changes);
    void left(const Folder& folder, const std::string& name, std::deque<Change>* changes);
    void nodeAppeared(const std::string& node, std::deque<Change>* changes);
    void nodeVanished(const std::string& node, std::deque<Change>* changes);
    // Stops watching the folder and those below it; their devices are gone.
    void forget(const std::string& path, std::deque<Change>* changes);
    // Compares all that is known with all that is there, after events were lost.
    void rescan(std::deque<Change>* changes);

    const std::string mDev;
    android::base::unique_fd mInotify;
    // By watch descriptor.
    std::map<int, Folder> mFolders;
    // Devices that were reported, by path.
    std::map<std::string, Identity> mNodes;
};

}  // namespace usbhost
