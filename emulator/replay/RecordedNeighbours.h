// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The neighbours of a recording: they answer as recorded, and are there when they were.
#pragma once

#include <deque>
#include <map>
#include <string>

#include <utils/Mutex.h>

#include "emulator/phone/neighbours/Accessory.h"
#include "emulator/phone/neighbours/Lpwg.h"
#include "emulator/replay/RecordedPhone.h"
#include "emulator/replay/Script.h"

namespace replay {

// Any thread may use it.
class RecordedNeighbours {
  public:
    RecordedNeighbours(RecordedPhone& phone, const Script& script);

    // Throws phone::Error when one cannot be registered.
    void serve();
    // What a request to the emulator made of them; other entries are left alone.
    void play(const phone::Entry& entry);

  private:
    // The next recorded answer; empty when there is none left.
    std::string take(const std::string& method) EXCLUDES(mLock);
    neighbours::AccessoryState accessoryState();
    int32_t lpwgResult();

    RecordedPhone& mPhone;
    android::Mutex mLock;
    std::map<std::string, std::deque<std::string>> mAnswers GUARDED_BY(mLock);
    neighbours::Accessory mAccessory;
    neighbours::Lpwg mLpwg;
};

}  // namespace replay
