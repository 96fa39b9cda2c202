// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Logs one line at every priority, like a program that knows nothing of host-log.

#include <android/log.h>

int main() {
    __android_log_print(ANDROID_LOG_VERBOSE, "probe", "at verbose");
    __android_log_print(ANDROID_LOG_DEBUG, "probe", "at debug");
    __android_log_print(ANDROID_LOG_INFO, "probe", "at info");
    __android_log_print(ANDROID_LOG_WARN, "probe", "at warn");
    __android_log_print(ANDROID_LOG_ERROR, "probe", "at error");
    return 0;
}
