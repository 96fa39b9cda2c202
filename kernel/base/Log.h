// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one place for the service's log tag and the three priorities it uses.
#pragma once

#include <android/log.h>

#define BIVISTA_LOG_TAG "vendor.qmx.hardware.bivista@1.1-service"

#define LOG_DEBUG(...) __android_log_print(ANDROID_LOG_DEBUG, BIVISTA_LOG_TAG, __VA_ARGS__)
#define LOG_INFO(...) __android_log_print(ANDROID_LOG_INFO, BIVISTA_LOG_TAG, __VA_ARGS__)
#define LOG_ERROR(...) __android_log_print(ANDROID_LOG_ERROR, BIVISTA_LOG_TAG, __VA_ARGS__)
