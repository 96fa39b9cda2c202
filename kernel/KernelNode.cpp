// Access to kernel attribute files. The functions differ in their checks, in the priority of their
// log lines and in their results; that is meant.

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "kernel/Bivista.h"
#include "kernel/KernelNode.h"
#include "kernel/base/Descriptor.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

bool writeWhole(const std::string& path, const std::string& value) {
    FILE* file = fopen(path.c_str(), "we");
    if (file == nullptr) {
        LOG_ERROR("Cannot open path: %s", path.c_str());
        return false;
    }
    // Meant: a failed write, flush or close is not reported.
    fwrite(value.data(), 1, value.size(), file);
    fclose(file);
    return true;
}

bool Bivista::isExist(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool Bivista::isReadable(const std::string& path) {
    return access(path.c_str(), R_OK) == 0;
}

namespace {

constexpr int32_t kNotExisting = -1;
constexpr int32_t kCannotOpen = -3;
constexpr int32_t kNotReadable = -4;

// 0, or the code of the test that failed, logged.
int32_t checkReadable(const std::string& path) {
    if (!Bivista::isExist(path)) {
        LOG_ERROR("File is not exist : %s", path.c_str());
        return kNotExisting;
    }
    if (!Bivista::isReadable(path)) {
        LOG_ERROR("Cannot Read file : %s", path.c_str());
        return kNotReadable;
    }
    return 0;
}

}  // namespace

int32_t Bivista::readString(const std::string& path, std::string& out) {
    if (const int32_t failure = checkReadable(path); failure != 0) return failure;
    const Descriptor node(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!node.isOpen()) {
        LOG_ERROR("Cannot open path : %s", path.c_str());
        return kCannotOpen;
    }
    for (char byte; read(node.get(), &byte, 1) > 0;) out += byte;
    LOG_DEBUG("readString : %s", out.c_str());
    return 0;
}

int32_t Bivista::writeInt32(const std::string& path, int32_t value) {
    // Meant: the read permission is tested although the node is written.
    if (const int32_t failure = checkReadable(path); failure != 0) return failure;
    LOG_DEBUG("Writing %d to %s", value, path.c_str());
    return writeWhole(path, std::to_string(value)) ? 0 : kCannotOpen;
}

bool Bivista::writeString(const std::string& path, const std::string& value) {
    LOG_DEBUG("Writing %s to %s", value.c_str(), path.c_str());
    return writeWhole(path, value);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
