// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The emulator of a registry folder, as the page's server asks it. Any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include <sys/types.h>

#include <android-base/unique_fd.h>
#include "emulator/phone/client/Client.h"

namespace ui {

using emulator::Json;

struct Answer {
    int status = 0;
    std::string body;
};

class Emulator {
  public:
    // Makes the folder if need be. Throws phone::Error when it cannot, or when others can write
    // there.
    explicit Emulator(const std::string& folder);

    const std::string& folder() const { return mFolder; }

    // Tells one emulator in this folder from the next; nothing without one.
    using Identity = std::tuple<ino_t, time_t, long>;
    std::optional<Identity> identity() const;

    // A client of the emulator that is there now.
    std::unique_ptr<emulator::Client> connect() const;
    // The answer of the emulator, or 503 and why there is none.
    Answer ask(const std::string& method, const std::string& path,
               const Json& values = Json::object()) const;

  private:
    std::string socketPath() const;

    const std::string mFolder;
    const android::base::unique_fd mFolderFd;
};

}  // namespace ui
