// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The folder where services register.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/hidl/Registry.h"
#include "tools/doctor/Checks.h"
#include "tools/doctor/ShellWord.h"

namespace doctor {
namespace {

namespace registry = ::android::hardware::registry;

constexpr char kCheck[] = "registry";

// The paths of names that no service answers, as words of a shell.
std::vector<std::string> staleNames(const Tree& folder, const std::string& path) {
    std::vector<std::string> stale;
    for (const std::string& descriptor : folder.names("/")) {
        const std::vector<std::string> live = registry::list(descriptor);
        for (const std::string& instance : folder.names("/" + descriptor)) {
            if (std::find(live.begin(), live.end(), instance) != live.end()) continue;
            stale.push_back(shellWord(path + "/" + descriptor + "/" + instance));
        }
    }
    return stale;
}

}  // namespace

Finding examineRegistry() {
    const std::string path = registry::directory();
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return problem(kCheck, path + " does not exist or cannot be examined",
                       "The service makes it when it starts. Set HIDL_SOCKET_DIR to the folder "
                       "that it was started with.");
    }
    if (!S_ISDIR(status.st_mode)) {
        return problem(kCheck, path + " is no folder", "Set HIDL_SOCKET_DIR to a folder.");
    }
    const std::string words = path + " is of " + ownershipInWords(status);
    if (status.st_uid != geteuid()) {
        return problem(kCheck, words + ", and you are " + User().name(),
                       "Run this program and the service as the same user, or set HIDL_SOCKET_DIR "
                       "to a folder of yours for both.");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return problem(kCheck, words + ": others may put services there, so none is trusted",
                       "chmod 0700 " + shellWord(path));
    }
    const std::vector<std::string> stale = staleNames(Tree(path), path);
    if (!stale.empty()) {
        return problem(kCheck, "nobody answers at " + listed(stale, " "),
                       "A service ended without taking its name back: see its log, and start it "
                       "again; or: rm " +
                               firstOf(stale, " ") + restOf(stale));
    }
    return fine(kCheck, words);
}

}  // namespace doctor
