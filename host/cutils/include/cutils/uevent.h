// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Opens a blocking netlink socket that hears every kernel uevent of this network namespace.
//
// `buf_sz` is the size of its receive buffer in bytes; without the right to exceed the system's
// limit (net.core.rmem_max) it is cut to that. `passcred` asks for the sender's credentials, which
// the receiving call needs. Returns the descriptor, which the caller closes, or -1 with errno set.
int uevent_open_socket(int buf_sz, bool passcred);

// Receives one uevent into `buffer`, waiting for it unless `socket` is non-blocking: texts that
// each end in NUL. A longer message is cut to `length` bytes. The NUL after the last text is part
// of the message, none is added.
//
// Returns the count of bytes received, or -1 with errno set; EIO for a message that did not come
// from the kernel's broadcast, which is dropped and `buffer` zeroed.
ssize_t uevent_kernel_multicast_recv(int socket, void* buffer, size_t length);

#ifdef __cplusplus
}
#endif
