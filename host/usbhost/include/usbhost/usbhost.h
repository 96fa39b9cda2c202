// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct usb_host_context;
struct usb_device;

// A device appeared or vanished. `dev_name` is the path of its node, as in "/dev/bus/usb/001/002",
// valid during the call. Called one at a time, on the thread in usb_host_load, usb_host_read_event
// or usb_host_run. A result other than 0 asks for the end of the loop.
typedef int (*usb_device_added_cb)(const char* dev_name, void* client_data);
typedef int (*usb_device_removed_cb)(const char* dev_name, void* client_data);

// All devices that were present at the start have been reported. A result other than 0 asks for the
// end of the loop.
typedef int (*usb_discovery_done_cb)(void* client_data);

// Makes a context for one loop: usb_host_run, or the caller's own around usb_host_load,
// usb_host_get_fd and usb_host_read_event. Returns null with errno set when the system has no
// inotify or event descriptor left. The context is released by usb_host_cleanup.
struct usb_host_context* usb_host_init(void);

// Starts to watch: reports the devices that are present, then discovery_done_cb. Keeps the
// callbacks, any of which may be null, for usb_host_read_event. Returns other than 0 when the loop
// is to end: a callback asked for it, or the context was cleaned up. Called once for a context.
int usb_host_load(struct usb_host_context* context, usb_device_added_cb added_cb,
                  usb_device_removed_cb removed_cb, usb_discovery_done_cb discovery_done_cb,
                  void* client_data);

// The descriptor that poll() finds readable when usb_host_read_event has something to take. The
// context owns it: it is neither read nor closed by the caller. -1 when the context was cleaned up.
int usb_host_get_fd(struct usb_host_context* context);

// Reports what has appeared and vanished since, in order. Called when the descriptor is readable,
// on one thread at a time, after usb_host_load; here it returns at once when it is not, where
// Android's waits. Returns other than 0 when the loop is to end, as usb_host_load; changes that
// were not reported by then are lost.
int usb_host_read_event(struct usb_host_context* context);

// Reports every device on the USB bus: those present first, then discovery_done_cb, then each that
// appears or vanishes, in order. Any callback may be null. Bus folders, and /dev/bus/usb itself,
// may appear later. Sleeps in the kernel between changes.
//
// Returns when a callback asks for it or the context is cleaned up, also when that happened before
// the call. Called once for a context; callbacks may call any function of this header.
void usb_host_run(struct usb_host_context* context, usb_device_added_cb added_cb,
                  usb_device_removed_cb removed_cb, usb_discovery_done_cb discovery_done_cb,
                  void* client_data);

// Ends usb_host_run and releases the context. Any thread, at any time: while usb_host_run sleeps,
// in a callback, before it was called, after it returned, and twice. Does not wait: a callback
// under way completes and the last one has returned when usb_host_run has, so a caller that
// releases what callbacks use joins that thread first.
//
// Android's library is not that kind: there a loop is not woken and uses the context until it has
// ended. Code that runs there too makes its own loop, ends and joins it, and cleans up last.
void usb_host_cleanup(struct usb_host_context* context);

// Opens a device by the path of its node and reads its descriptor. Returns null with errno set when
// the node cannot be opened or does not begin with a USB device descriptor (EINVAL).
struct usb_device* usb_device_open(const char* dev_name);

// Closes the device. Null is allowed.
void usb_device_close(struct usb_device* device);

// The identity in the device's descriptor.
uint16_t usb_device_get_vendor_id(struct usb_device* device);
uint16_t usb_device_get_product_id(struct usb_device* device);

// The device's strings, in UTF-8, asked of the device itself with `timeout` milliseconds for each
// transfer, or, when it does not answer, of its sysfs folder. The caller frees the result with
// free(). Null when the device has no such string or it is empty.
char* usb_device_get_manufacturer_name(struct usb_device* device, int timeout);
char* usb_device_get_product_name(struct usb_device* device, int timeout);
char* usb_device_get_serial(struct usb_device* device, int timeout);

#ifdef __cplusplus
}
#endif
