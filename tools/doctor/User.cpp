// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/doctor/User.h"

#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "tools/text/Arguments.h"

namespace doctor {
namespace {

std::string userName(uid_t id) {
    const passwd* entry = getpwuid(id);
    return entry != nullptr ? entry->pw_name : std::to_string(id);
}

std::string groupName(gid_t id) {
    const group* entry = getgrgid(id);
    return entry != nullptr ? entry->gr_name : std::to_string(id);
}

std::vector<gid_t> groupsOf(const passwd& entry) {
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    while (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(count));
    }
    groups.resize(static_cast<size_t>(count));
    return groups;
}

}  // namespace

User::User() : mId(geteuid()), mName(userName(mId)) {}

User::User(const std::string& text) {
    const passwd* entry = getpwnam(text.c_str());
    if (entry == nullptr) {
        try {
            mId = bivistactl::parseUint32(text);
        } catch (const bivistactl::BadArgument&) {
            throw bivistactl::BadArgument("\"" + text + "\" is no user of this machine");
        }
        entry = getpwuid(mId);
    }
    mName = text;
    // A number without a name has no groups either.
    if (entry == nullptr) return;
    mId = entry->pw_uid;
    mName = entry->pw_name;
    mGroups = groupsOf(*entry);
}

bool User::isCaller() const {
    return mId == geteuid();
}

bool User::mayUse(const struct stat& file) const {
    if (mId == 0) return true;
    mode_t needed = S_IROTH | S_IWOTH;
    if (file.st_uid == mId) {
        needed = S_IRUSR | S_IWUSR;
    } else if (std::find(mGroups.begin(), mGroups.end(), file.st_gid) != mGroups.end()) {
        needed = S_IRGRP | S_IWGRP;
    }
    return (file.st_mode & needed) == needed;
}

std::string ownershipInWords(const struct stat& file) {
    char mode[8];
    snprintf(mode, sizeof(mode), "%04o", file.st_mode & 07777u);
    return userName(file.st_uid) + ":" + groupName(file.st_gid) + ", mode " + mode;
}

}  // namespace doctor
