// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#define KLOG_ERROR_LEVEL 3
#define KLOG_WARNING_LEVEL 4
#define KLOG_NOTICE_LEVEL 5
#define KLOG_INFO_LEVEL 6
#define KLOG_DEBUG_LEVEL 7

// Drops messages whose level is above `level`, process-wide. KLOG_INFO_LEVEL before the first call.
// Any thread.
void klog_set_level(int level);

// Writes one message to the kernel log, cut at 511 bytes. `level` only decides whether it is
// written; the kernel takes its priority from the text, which by custom begins with "<level>".
//
// One write to /dev/kmsg, which the first message of the process opens; while it cannot be opened,
// messages are dropped. Leaves errno as it was. Any thread.
void klog_write(int level, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif
