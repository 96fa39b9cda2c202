// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The results of touch self tests, which are collected in a file.

#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>

#include "diagnostics/Statistics.h"
#include "kernel/Bivista.h"
#include "kernel/serial/AtQuery.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

constexpr char kResultsPath[] = "/data/vendor/touch/touch_module_self_test.txt";
constexpr mode_t kReadableByAll = 0644;

void recordFailure(const char* cause) {
    sStatistics.recordFailure("getTestResults", cause);
}

// Whether the file is there and readable by all.
bool appendResults(const char* results) {
    FILE* file = fopen(kResultsPath, "ae");
    if (file == nullptr) {
        LOG_ERROR("Cannot open path: %s", kResultsPath);
        recordFailure("Cannot open path");
        return false;
    }
    LOG_INFO("can open path: %s", kResultsPath);
    // Meant: quirk unreported-write.
    fwrite(results, 1, strlen(results), file);
    fclose(file);
    if (chmod(kResultsPath, kReadableByAll) == 0) return true;
    LOG_ERROR("chmod failed\n");
    recordFailure("chmod failed");
    return false;
}

}  // namespace

Return<Status> Bivista::getTestResults() {
    // Too big for a stack.
    const auto query = std::make_unique<AtQuery<40960>>(*this, "AT%TCHNOTIFY=PULL_SD_RESULT\r");
    if (query->failed()) return Status::FAIL;
    LOG_DEBUG("%s: %s", __func__, query->text());
    return appendResults(query->text()) ? Status::OK : Status::FAIL;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
