// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>

#include <string>

// Main program of the tests that need a /dev, a /sys and a network of their own: enters user, mount
// and network namespaces in which the caller is root and /dev and /sys are empty, before any thread
// exists, then runs the tests. Where namespaces are forbidden, ends with one line that names the
// remedy.

// Writes `content` into a new file; fails the test when it cannot.
void writeFile(const std::string& path, const std::string& content);

// The whole file; fails the test when it cannot be read.
std::string readFile(const std::string& path);

// While it lives, the process can open no further descriptor.
class NoDescriptorsLeft {
  public:
    NoDescriptorsLeft();
    ~NoDescriptorsLeft();

  private:
    rlimit mBefore;
};
