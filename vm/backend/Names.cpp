// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/backend/Names.h"

#include <utility>

namespace vm {

namespace {

struct Names {
    std::string phone;
    std::string kernel;
};

// Folders.
const Names kNames[] = {
        {"/sys/devices/platform/soc/usb1", kBus},
        // The phone's software takes the way through the class.
        {"/sys/class/bivista", "/sys/devices/virtual/bivista"},
};

std::string rename(const std::string& path, const std::string& from, const std::string& to) {
    const bool isBelow =
            path.starts_with(from) && (path.size() == from.size() || path[from.size()] == '/');
    return isBelow ? to + path.substr(from.size()) : path;
}

}  // namespace

std::string kernelPath(const std::string& path) {
    std::string named = path;
    for (const Names& names : kNames) named = rename(named, names.phone, names.kernel);
    return named;
}

std::string phonePath(const std::string& path) {
    std::string named = path;
    for (const Names& names : kNames) named = rename(named, names.kernel, names.phone);
    return named;
}

}  // namespace vm
