// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Walks through the strings of a uevent. Knows nothing of sockets and of clients.
#pragma once

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class UeventWalk {
  public:
    // `message` is a sequence of NUL-terminated strings that ends with an empty one; it outlives
    // this object.
    explicit UeventWalk(const char* message) : mString(message) {}

    // The current string when it holds the cover's subsystem anywhere, else the next that does; it
    // becomes the current one. Null when there is none.
    const char* findSubsystem();

    // Moves to the string after the current one. Null when there is none.
    const char* next();

  private:
    const char* mString;
};

// The text after the key of touch events in a string of a uevent; null when the string does not
// hold the key.
const char* findEventText(const char* string);

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
