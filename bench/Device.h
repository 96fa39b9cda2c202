// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's object with the emulated cover, both in this process, for benchmarks.
#pragma once

#include <string>

#include "bench/Clock.h"
#include "emulator/phone/Phone.h"
#include "kernel/Bivista.h"

namespace bench {

using vendor::qmx::hardware::bivista::V1_1::implementation::Bivista;

// Prints what went wrong, and ends the benchmark.
[[noreturn]] void fail(const std::string& what);

// Enters the world with the log silent, and puts a cover of this kind on, without its panel; the
// cover has the second CPU. The attach is over but for its last command, for whose end others wait.
// Once a process.
class Device {
  public:
    explicit Device(const cover::Options& cover = {});
    // The service's threads run until the process ends: end() does that.
    [[noreturn]] void end();

    phone::Phone& phone() { return *mPhone; }
    Bivista& service() { return *mService; }

  private:
    phone::Phone* mPhone = nullptr;
    Bivista* mService = nullptr;
};

// From here to the end of its scope the log is written as a service's is, from this priority on
// (ANDROID_LOG_INFO: without the debug lines); to memory, a file of the world. One at a time.
class Logging {
  public:
    explicit Logging(int priority);
    ~Logging();
    Logging(const Logging&) = delete;
    Logging& operator=(const Logging&) = delete;
};

}  // namespace bench
