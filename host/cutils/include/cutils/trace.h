/* Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
 * Slices of time for a trace viewer. On a phone they go to the kernel's tracing and show beside
 * those of the system. Here they go to the file that HOST_TRACE_FILE names, in Chrome's JSON trace
 * event format; without it nothing is traced.
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ATRACE_TAG_NEVER 0
#define ATRACE_TAG_HAL (1 << 11)

/* A source defines its own before it includes this header. */
#ifndef ATRACE_TAG
#define ATRACE_TAG ATRACE_TAG_NEVER
#endif

/* Tags that are traced; all of them until the file is opened, which the first call does. Only
 * atrace.h's own functions use it. Set once. */
extern uint64_t atrace_enabled_tags;

/* Opens the file. Calling any function runs it; a call of one's own avoids the delay. Any thread.
 * A file that cannot be opened is said once on standard error, and nothing is traced. */
void atrace_init(void);

void atrace_begin_body(const char* name);
void atrace_end_body(void);

static inline uint64_t atrace_is_tag_enabled(uint64_t tag) {
    uint64_t tags = __atomic_load_n(&atrace_enabled_tags, __ATOMIC_ACQUIRE);
    if (__builtin_expect((tags & tag) == 0, 1)) return 0;
    atrace_init();
    return __atomic_load_n(&atrace_enabled_tags, __ATOMIC_ACQUIRE) & tag;
}

static inline void atrace_begin(uint64_t tag, const char* name) {
    if (atrace_is_tag_enabled(tag)) atrace_begin_body(name);
}

static inline void atrace_end(uint64_t tag) {
    if (atrace_is_tag_enabled(tag)) atrace_end_body();
}

#define ATRACE_INIT() atrace_init()
/* Not 0 when the source's tag is traced. */
#define ATRACE_ENABLED() atrace_is_tag_enabled(ATRACE_TAG)
/* Begins a slice of the calling thread, and ends the last one that it began. */
#define ATRACE_BEGIN(name) atrace_begin(ATRACE_TAG, name)
#define ATRACE_END() atrace_end(ATRACE_TAG)

#ifdef __cplusplus
}
#endif
