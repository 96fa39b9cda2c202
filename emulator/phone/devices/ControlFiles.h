// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Files of the phone (under /dev, /sys, /data or /system_ext), and the record of what its software
// does with those that control something.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "emulator/phone/devices/Subject.h"

namespace phone {

class ControlFiles : public Subject, public FileListener {
  public:
    // `written` gets each write to a file but the kernel log, after it was recorded.
    using Written = std::function<void(const std::string& path, const std::string& bytes)>;
    ControlFiles(const Surroundings& surroundings, Written written);

    // What reset() makes, by path.
    static std::map<std::string, std::string> firstContents();

    // Makes the file, with its folders if need be; new content is seen at once and whole.
    void set(const std::string& path, const std::string& text);
    // Throws when there is none.
    void remove(const std::string& path);
    // Content as a reader would see it; nothing when there is no such file.
    std::optional<std::string> get(const std::string& path) const;

    // Takes or releases the display's wake lock: one write of unchanged length.
    void setWakeLock(bool held);
    // As its readers find it, whoever wrote the file last.
    bool isWakeLockHeld() const;

    // Emulator thread. All files as they were made.
    void reset();

    void fileOpened(const std::string& path, const std::string& note) override;
    void fileWritten(const std::string& path, const std::string& bytes) override;
    void fileClosed(const std::string& path) override;
    void fileRefused(const std::string& path, int error) override;

  private:
    void putFirstContents();

    const Written mWritten;
};

}  // namespace phone
