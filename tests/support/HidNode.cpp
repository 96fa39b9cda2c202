// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/support/HidNode.h"

#include <filesystem>
#include <fstream>

namespace support {

void createHidNode(phone::Phone& phone, int number, const std::string& vendor,
                   const std::string& product) {
    const std::string name = "hidraw" + std::to_string(number);
    const std::string folder = "/sys/class/hidraw/" + name;
    phone.files.set(folder + "/idVendor", vendor);
    phone.files.set(folder + "/idProduct", product);
    phone.files.set(folder + "/a/b/uevent", "");
    std::filesystem::remove(folder + "/device");
    std::filesystem::create_symlink("a/b", folder + "/device");
    std::ofstream("/dev/" + name).close();
}

}  // namespace support
