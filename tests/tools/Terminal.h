// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// A terminal that passes on every byte as it is, with its other end in our hands.
class Terminal {
  public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // What a program writes to; closed by closeWriter() and at the end.
    int writer() const { return mWriter; }
    void closeWriter();
    // The same as a file.
    std::string path() const;

    // All that arrives, up to and including this text; waits for it. Less when no process has the
    // terminal open any more.
    std::string readUntil(const std::string& text);
    // All that arrives until no process has the terminal open any more.
    std::string rest();

  private:
    int mReader = -1;
    int mWriter = -1;
};
