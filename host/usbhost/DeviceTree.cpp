// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "DeviceTree.h"

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace usbhost {
namespace {

constexpr uint32_t kEntered = IN_CREATE | IN_MOVED_TO;
constexpr uint32_t kLeft = IN_DELETE | IN_MOVED_FROM;

bool isNumber(std::string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isBelow(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           path[folder.size()] == '/';
}

std::vector<std::string> sortedNames(const std::string& folder) {
    std::vector<std::string> names;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    while (dir) {
        const dirent* entry = readdir(dir.get());
        if (entry == nullptr) break;
        names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

DeviceTree::DeviceTree(std::string dev)
    : mDev(std::move(dev)), mInotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

void DeviceTree::start(std::deque<Change>* changes) {
    watch(mDev, Level::DEV, changes);
}

void DeviceTree::read(std::deque<Change>* changes) {
    alignas(inotify_event) char buffer[4096];
    static_assert(sizeof(buffer) >= sizeof(inotify_event) + NAME_MAX + 1);
    ssize_t count;
    while ((count = TEMP_FAILURE_RETRY(::read(mInotify.get(), buffer, sizeof(buffer)))) > 0) {
        for (const char* next = buffer; next < buffer + count;) {
            const auto* event = reinterpret_cast<const inotify_event*>(next);
            handle(*event, changes);
            next += sizeof(inotify_event) + event->len;
        }
    }
}

bool DeviceTree::matters(Level level, std::string_view name) {
    switch (level) {
        case Level::DEV:
            return name == "bus";
        case Level::BUS:
            return name == "usb";
        case Level::USB:
        case Level::DEVICES:
            return isNumber(name);
    }
    return false;
}

bool DeviceTree::identify(const std::string& node, Identity* identity) {
    struct stat info;
    if (stat(node.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
    *identity = {info.st_dev, info.st_ino};
    return true;
}

void DeviceTree::watch(const std::string& path, Level level, std::deque<Change>* changes) {
    // Watched before it is listed, so that nothing slips in between.
    int wd = inotify_add_watch(mInotify.get(), path.c_str(), kEntered | kLeft | IN_ONLYDIR);
    if (wd < 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            fprintf(stderr, "usbhost: cannot watch %s: %s\n", path.c_str(), strerror(errno));
        }
        return;
    }
    const Folder folder = {path, level};
    mFolders[wd] = folder;
    for (const std::string& name : sortedNames(path)) entered(folder, name, changes);
}

void DeviceTree::handle(const inotify_event& event, std::deque<Change>* changes) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) return rescan(changes);

    auto found = mFolders.find(event.wd);
    if (found == mFolders.end()) return;
    // A copy, since handling may change the map.
    const Folder folder = found->second;
    if ((event.mask & (IN_IGNORED | IN_UNMOUNT)) != 0) return forget(folder.path, changes);

    // Only these carry a name.
    if ((event.mask & kLeft) != 0) left(folder, event.name, changes);
    if ((event.mask & kEntered) != 0) entered(folder, event.name, changes);
}

void DeviceTree::entered(const Folder& folder, const std::string& name,
                         std::deque<Change>* changes) {
    if (!matters(folder.level, name)) return;
    const std::string path = folder.path + "/" + name;
    switch (folder.level) {
        case Level::DEV:
            return watch(path, Level::BUS, changes);
        case Level::BUS:
            return watch(path, Level::USB, changes);
        case Level::USB:
            return watch(path, Level::DEVICES, changes);
        case Level::DEVICES:
            return nodeAppeared(path, changes);
    }
}

void DeviceTree::left(const Folder& folder, const std::string& name, std::deque<Change>* changes) {
    if (!matters(folder.level, name)) return;
    const std::string path = folder.path + "/" + name;
    if (folder.level == Level::DEVICES) {
        nodeVanished(path, changes);
    } else {
        forget(path, changes);
    }
}

void DeviceTree::nodeAppeared(const std::string& node, std::deque<Change>* changes) {
    Identity identity;
    if (!identify(node, &identity)) return;
    auto known = mNodes.find(node);
    if (known != mNodes.end()) {
        // Listed before its event was read.
        if (known->second == identity) return;
        nodeVanished(node, changes);
    }
    mNodes[node] = identity;
    changes->push_back({Change::ADDED, node});
}

void DeviceTree::nodeVanished(const std::string& node, std::deque<Change>* changes) {
    if (mNodes.erase(node) != 0) changes->push_back({Change::REMOVED, node});
}

void DeviceTree::forget(const std::string& path, std::deque<Change>* changes) {
    for (auto folder = mFolders.begin(); folder != mFolders.end();) {
        if (folder->second.path == path || isBelow(folder->second.path, path)) {
            inotify_rm_watch(mInotify.get(), folder->first);
            folder = mFolders.erase(folder);
        } else {
            ++folder;
        }
    }
    std::vector<std::string> gone;
    for (const auto& [node, identity] : mNodes) {
        if (isBelow(node, path)) gone.push_back(node);
    }
    for (const std::string& node : gone) nodeVanished(node, changes);
}

void DeviceTree::rescan(std::deque<Change>* changes) {
    const auto nodes = mNodes;
    for (const auto& [node, known] : nodes) {
        Identity now;
        if (!identify(node, &now) || !(now == known)) nodeVanished(node, changes);
    }
    // A folder that is watched already keeps its watch descriptor.
    mFolders.clear();
    watch(mDev, Level::DEV, changes);
}

}  // namespace usbhost
