// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// System properties of the phone, in the file that its C library reads.
#pragma once

#include <map>
#include <string>

#include "emulator/phone/devices/Subject.h"

namespace phone {

class Properties : public Subject {
  public:
    using Subject::Subject;

    // Any bytes but a newline in the value; the key holds no "=" either.
    void set(const std::string& key, const std::string& value);
    std::map<std::string, std::string> list() const;
    // Removes the file.
    void clear();

    // Emulator thread.
    void reset();

  private:
    std::map<std::string, std::string> mValues;  // emulator thread
};

}  // namespace phone
