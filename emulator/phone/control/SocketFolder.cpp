// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/SocketFolder.h"

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "host/hidl/Registry.h"

namespace control {

namespace {

constexpr char kRemedy[] = "; choose another folder with HIDL_SOCKET_DIR";

}  // namespace

std::string socketFolder() {
    return android::hardware::registry::directory();
}

void makeSocketFolder(const std::string& folder) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), ignored);
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        phone::throwErrno("cannot make " + folder + kRemedy);
    }
    struct stat status;
    if (stat(folder.c_str(), &status) != 0) phone::throwErrno("cannot use " + folder + kRemedy);
    if (!S_ISDIR(status.st_mode)) throw phone::Error(folder + " is not a folder" + kRemedy);
    if (status.st_uid != geteuid()) {
        throw phone::Error(folder + " belongs to another user" + kRemedy);
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw phone::Error(folder + " can be written by others: \"chmod 700\" it, or" +
                           std::string(kRemedy).substr(1));
    }
}

}  // namespace control
