// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace doctor {

// The user whose rights to files count.
class User {
  public:
    // The user that runs this program.
    User();
    // By name or number. Throws bivistactl::BadArgument when there is none.
    explicit User(const std::string& text);

    bool isCaller() const;
    bool isRoot() const { return mId == 0; }
    // Whether the mode of a file lets the user read and write it.
    bool mayUse(const struct stat& file) const;
    const std::string& name() const { return mName; }

  private:
    uid_t mId = 0;
    std::string mName;
    std::vector<gid_t> mGroups;
};

// "root:dialout, mode 0660"
std::string ownershipInWords(const struct stat& file);

}  // namespace doctor
