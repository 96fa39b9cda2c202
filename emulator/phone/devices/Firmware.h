// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Firmware images of the phone, and its kernel driver that writes them into the cover.
#pragma once

#include <string>
#include <vector>

#include "emulator/phone/devices/Subject.h"

namespace phone {

class Cover;

// Files in kFirmwareFolder, of any content: an image's file name holds its version. A number
// written to kFirmwareWrite makes the driver choose among them (cover::chooseImage()) and write the
// chosen one into the cover.
class Firmware : public Subject {
  public:
    Firmware(const Surroundings& surroundings, Cover& cover)
        : Subject(surroundings), mCover(cover) {}

    void put(const std::string& name, size_t size);
    std::vector<File> list() const;
    void clear();

    // Emulator thread. What the driver does with what was written to kFirmwareWrite.
    void control(const std::string& bytes);
    // Emulator thread. Records what becomes of the upgrade under way.
    void note(const std::string& what);

  private:
    void refuse(const std::string& reason);
    void startUpgrade();

    Cover& mCover;
    std::string mImage;  // file name of the image of the last upgrade
};

}  // namespace phone
