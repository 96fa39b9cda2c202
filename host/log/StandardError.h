// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>

// A logger for __android_log_set_logger(): one message a line, `TAG P MM-DD HH:MM:SS.mmm pid tid
// message`, in one write. The time is that of CLOCK_REALTIME. Any thread.
void hostLogStandardError(const __android_logger_data* data, const char* message);
