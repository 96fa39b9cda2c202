// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "kernel/base/KernelNode.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "kernel/base/Descriptor.h"
#include "kernel/base/Log.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace node {

namespace {

constexpr int32_t kNotExisting = -1;
constexpr int32_t kCannotOpen = -3;
constexpr int32_t kNotReadable = -4;

// 0, or the code of the test that failed, logged.
int32_t checkReadable(const std::string& path) {
    if (!isExist(path)) {
        LOG_ERROR("File is not exist : %s", path.c_str());
        return kNotExisting;
    }
    if (!isReadable(path)) {
        LOG_ERROR("Cannot Read file : %s", path.c_str());
        return kNotReadable;
    }
    return 0;
}

// Truncates or creates the file and writes the bytes in one go. False, logged, only when the file
// cannot be opened.
bool writeWhole(const std::string& path, const std::string& value) {
    FILE* file = fopen(path.c_str(), "we");
    if (file == nullptr) {
        LOG_ERROR("Cannot open path: %s", path.c_str());
        return false;
    }
    // Meant: quirk unreported-write.
    fwrite(value.data(), 1, value.size(), file);
    fclose(file);
    return true;
}

}  // namespace

bool isExist(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool isReadable(const std::string& path) {
    return access(path.c_str(), R_OK) == 0;
}

int32_t readString(const std::string& path, std::string& out) {
    if (const int32_t failure = checkReadable(path); failure != 0) return failure;
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        LOG_ERROR("Cannot open path : %s", path.c_str());
        return kCannotOpen;
    }
    for (char byte; read(file.get(), &byte, 1) > 0;) out += byte;
    LOG_DEBUG("readString : %s", out.c_str());
    return 0;
}

int32_t writeInt32(const std::string& path, int32_t value) {
    // Meant: quirk read-test-of-a-write.
    if (const int32_t failure = checkReadable(path); failure != 0) return failure;
    LOG_DEBUG("Writing %d to %s", value, path.c_str());
    return writeWhole(path, std::to_string(value)) ? 0 : kCannotOpen;
}

bool writeString(const std::string& path, const std::string& value) {
    LOG_DEBUG("Writing %s to %s", value.c_str(), path.c_str());
    return writeWhole(path, value);
}

}  // namespace node

bool writeNode(const std::string& path, const std::string& value) {
    LOG_ERROR("Writing %s to %s", value.c_str(), path.c_str());
    return node::writeWhole(path, value);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
