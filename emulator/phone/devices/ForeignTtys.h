// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Other ACM devices than the cover, silent ones.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "emulator/phone/devices/Subject.h"
#include "emulator/phone/devices/TtyRecorder.h"

namespace phone {

class ForeignTtys : public Subject, private TtyRecorder {
  public:
    explicit ForeignTtys(const Surroundings& surroundings)
        : Subject(surroundings), TtyRecorder(surroundings.journal) {}

    // As /dev/ttyACM<number>; ids as in sysfs, for example "1d6b\n".
    void attach(int number, const std::string& idVendorText, const std::string& idProductText);
    void detach(int number);

    // Emulator thread.
    void reset();

  private:
    std::map<int, std::unique_ptr<Device>> mDevices;  // emulator thread; by number
};

}  // namespace phone
