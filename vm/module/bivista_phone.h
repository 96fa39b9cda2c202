/* SPDX-License-Identifier: GPL-2.0-only */
/* Copyright 2026 the Bivista maintainers. */
#ifndef BIVISTA_PHONE_H
#define BIVISTA_PHONE_H

#include <linux/fs.h>
#include <linux/types.h>

/* nodes.c: the control nodes of the phone's drivers. */

int bv_nodes_create(void);
void bv_nodes_remove(void);

/* Whether this attribute of sysfs is one of the nodes. */
bool bv_is_node(const void *attribute);

/*
 * Raises a uevent of the touch panel with these keys: strings of the form
 * KEY=VALUE with a NUL after each; keys[size] is a NUL, too.
 */
int bv_raise_uevent(char *keys, size_t size);

/* probes.c: where the kernel does what is recorded. */

int bv_probes_register(void);
void bv_probes_unregister(void);

/* How often a probe could not do its work since it was registered. */
unsigned long bv_probes_missed(void);

/* records.c: the device /dev/bivista_phone. */

int bv_device_register(void);
void bv_device_deregister(void);

/* Whether somebody reads the records, and the current process is another. */
bool bv_is_recorded(void);

/* What a record says, besides who did it. */
struct bv_call {
	char kind;
	unsigned int flags;
	u64 began;
	/* One of the two: a file, or its name. */
	struct file *file;
	const char *name;
	/* The rest: of a write its bytes, else a text. */
	const void *bytes;
	size_t size;
	char rest[40];
};

/* In any context but an NMI's. */
void bv_record(const struct bv_call *call);
/* Counts a record that cannot be made. */
void bv_record_lost(void);

/* Of a longer write that many bytes are recorded. */
#define BV_MOST_BYTES 4096

#endif
