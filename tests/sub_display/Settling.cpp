// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/sub_display/Settling.h"

#include <unistd.h>

namespace support {

std::atomic<Settling> settling = Settling::AsPanelsDo;

}  // namespace support

using support::Settling;
using support::settling;

extern "C" {

int __real_usleep(useconds_t time);
int __wrap_usleep(useconds_t time) {
    constexpr useconds_t kSettlingTime = 500'000;
    if (time != kSettlingTime || settling == Settling::AsPanelsDo) return __real_usleep(time);
    while (settling == Settling::Held) __real_usleep(1000);
    return 0;
}
}
