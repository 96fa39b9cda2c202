// SPDX-License-Identifier: GPL-2.0-only
// Copyright 2026 the Bivista maintainers.
/*
 * The drivers of the phone, as far as the cover's software sees them: control
 * nodes in sysfs, uevents of the touch panel, and a record of who opens, writes
 * and closes what controls something.
 *
 * The nodes take what is written and give the last of it:
 *
 *	/sys/class/bivista/bv2/{bv2_hal_ready,bv2_recovery,bv2_pd}
 *	/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write
 *	/sys/devices/virtual/input/qmx_touch/bv_update_state
 *	/sys/power/wake_lock
 *	/sys/module/usbhid/parameters/aes_mode
 *
 * Reading /dev/bivista_phone gives, to one reader at a time, what is done while
 * it is open. A buffer of 16 KiB takes any record. Each is a line:
 *
 *	KIND TGID NANOSECONDS FLAGS PATH [REST]
 *
 * TGID is the process that did it; what the reader's process does itself is not
 * recorded. NANOSECONDS is CLOCK_MONOTONIC when it began, FLAGS are the open
 * flags in hex. PATH is below /sys, without symlinks, or below /dev. Blanks and
 * backslashes in it are octal: "\040".
 *
 *	O W C	open for writing, write, last close of a node above, of a USB
 *		device's power/control, of /dev/kmsg. REST of W: the bytes in
 *		hex, "-" for none. An open that fails is not recorded, nor is a
 *		write to a device that has gone.
 *	T R U	open of a ttyACM that succeeded, read that gave something (REST:
 *		how many bytes), last close
 *	H h	open of a hidraw node (REST: result and duration in ns), last
 *		close
 *	X	open with O_CREAT below /sys that was refused with EACCES (REST:
 *		errno); PATH as the caller wrote it
 *	L	so many records (REST) are missing here, since nobody read them
 *
 * Writing "uevent KEY=VALUE" to the device, with more such strings after NULs,
 * makes the kernel raise a uevent: change of /devices/virtual/bivista/bv2,
 * subsystem QMX_BV2.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/module.h>

#include "bivista_phone.h"

static int __init bivista_phone_init(void)
{
	int err = bv_nodes_create();

	if (err)
		return err;
	err = bv_probes_register();
	if (err)
		goto remove_nodes;
	err = bv_device_register();
	if (err)
		goto unregister_probes;
	return 0;

unregister_probes:
	bv_probes_unregister();
remove_nodes:
	bv_nodes_remove();
	return err;
}

static void __exit bivista_phone_exit(void)
{
	bv_device_deregister();
	bv_probes_unregister();
	bv_nodes_remove();
}

module_init(bivista_phone_init);
module_exit(bivista_phone_exit);

MODULE_AUTHOR("the Bivista maintainers");
MODULE_DESCRIPTION("Control nodes of a phone with a Bivista cover");
MODULE_LICENSE("GPL");
/* It has the parameters to which aes_mode belongs, and brings hidraw. */
MODULE_SOFTDEP("pre: usbhid");
