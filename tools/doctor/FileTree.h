// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/doctor/User.h"

namespace doctor {

// A tree of files below a root of its own. The root is this machine's, that of a program in a mount
// namespace, or a folder with a copy. Links, also absolute ones, stay within the tree. Paths are
// absolute in the tree.
class Tree {
  public:
    // Everything is absent from a root that cannot be opened.
    explicit Tree(const std::string& root);

    bool exists() const { return mRoot >= 0; }
    // The whole file without white space at its end; none when it cannot be read.
    std::optional<std::string> text(const std::string& path) const;
    // The names in a folder, sorted; none when it cannot be listed.
    std::vector<std::string> names(const std::string& folder) const;
    // The file at the end of all links; none when it does not exist.
    std::optional<struct stat> status(const std::string& path) const;
    // Whether the user may read and write the file. The folders above it are not examined.
    bool mayUse(const std::string& path, const User& user) const;
    // Whether /proc/PID/fd/N is a descriptor of the file with this status.
    bool isDescriptorOf(const std::string& descriptor, const struct stat& file) const;

  private:
    android::base::unique_fd open(const std::string& path, int flags) const;

    const android::base::unique_fd mRoot;
};

}  // namespace doctor
