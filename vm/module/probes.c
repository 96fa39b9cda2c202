// SPDX-License-Identifier: GPL-2.0-only
// Copyright 2026 the Bivista maintainers.
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <asm/syscall.h>
#include <linux/ctype.h>
#include <linux/dcache.h>
#include <linux/kernfs.h>
#include <linux/kprobes.h>
#include <linux/magic.h>
#include <linux/module.h>
#include <linux/sched/task_stack.h>
#include <linux/slab.h>
#include <linux/string.h>
#include <linux/timekeeping.h>
#include <linux/uio.h>

#include "bivista_phone.h"

/* cdc_acm's, as Documentation/admin-guide/devices.txt has it. */
#define ACM_TTY_MAJOR 166

/* What a probe keeps from a function's call until its return. */
struct kept {
	struct bv_call call;
	struct iov_iter bytes; /* what is to be written */
};

static void *argument(struct pt_regs *regs, unsigned int number)
{
	return (void *)regs_get_kernel_argument(regs, number);
}

/* The flags of the open(), openat() or creat() under way, else 0. */
static unsigned int asked_flags(void)
{
	struct pt_regs *regs = task_pt_regs(current);
	unsigned long args[6];

	syscall_get_arguments(current, regs, args);
	switch (syscall_get_nr(current, regs)) {
	case __NR_open:
		return args[1];
	case __NR_openat:
		return args[2];
	case __NR_creat:
		return O_CREAT | O_WRONLY | O_TRUNC;
	default:
		return 0;
	}
}

static struct bv_call call_of(char kind, struct file *file)
{
	return (struct bv_call){
		.kind = kind,
		.began = ktime_get_ns(),
		.flags = file->f_flags,
		.file = file,
	};
}

static bool is_usb_bus(const char *name)
{
	unsigned int number;
	char more;

	return sscanf(name, "usb%u%c", &number, &more) == 1;
}

/* Whether a folder is "usb1" or, below such a device, "1-1" or "1-1.2". */
static bool is_usb_device(const struct dentry *folder)
{
	const char *name = folder->d_name.name;
	const char *above = folder->d_parent->d_name.name;
	const size_t length = strlen(above);

	if (is_usb_bus(name))
		return true;
	if (!isdigit(name[0]) || strchr(name, ':'))
		return false;
	return is_usb_bus(above) ||
	       (!strncmp(name, above, length) && name[length] == '.');
}

/* A device may go at any time, but the names in the file's path stay. */
static bool is_usb_control(const struct file *file)
{
	const struct dentry *control = file->f_path.dentry;
	const struct dentry *power = control->d_parent;

	return !strcmp(control->d_name.name, "control") &&
	       !strcmp(power->d_name.name, "power") &&
	       is_usb_device(power->d_parent);
}

static bool is_node(const struct file *file)
{
	const struct kernfs_node *node = file_inode(file)->i_private;

	return bv_is_node(node->priv);
}

static bool is_writer(const struct file *file)
{
	return file->f_mode & FMODE_WRITE;
}

static bool is_control(const struct file *file)
{
	return is_writer(file) &&
	       file_inode(file)->i_sb->s_magic == SYSFS_MAGIC &&
	       (is_node(file) || is_usb_control(file));
}

static bool is_acm(const struct file *file)
{
	return MAJOR(file_inode(file)->i_rdev) == ACM_TTY_MAJOR;
}

/* An open that fails releases, too. */
static bool is_open_acm(const struct file *file)
{
	return is_acm(file) && (file->f_mode & FMODE_OPENED);
}

static bool is_any(const struct file *file)
{
	return true;
}

/*
 * Closes: functions (inode, file). No function of this module may have the name
 * of one that is probed, which would be looked up here first.
 */

static int record_close(struct pt_regs *regs, char kind,
			bool (*concerns)(const struct file *))
{
	struct file *file = argument(regs, 1);

	if (bv_is_recorded() && concerns(file)) {
		const struct bv_call call = call_of(kind, file);

		bv_record(&call);
	}
	return 0;
}

static int on_control_release(struct kprobe *probe, struct pt_regs *regs)
{
	return record_close(regs, 'C', is_control);
}

static int on_kmsg_release(struct kprobe *probe, struct pt_regs *regs)
{
	return record_close(regs, 'C', is_writer);
}

static int on_acm_release(struct kprobe *probe, struct pt_regs *regs)
{
	return record_close(regs, 'U', is_open_acm);
}

static int on_hidraw_release(struct kprobe *probe, struct pt_regs *regs)
{
	return record_close(regs, 'h', is_any);
}

/*
 * Functions whose return matters. Their beginnings return 1 when it does not,
 * or when all is said already.
 */

static struct kept *kept_in(struct kretprobe_instance *instance)
{
	return (struct kept *)instance->data;
}

/* Opens: functions (inode, file). */

static int keep_open(struct kretprobe_instance *instance, struct pt_regs *regs,
		     char kind, bool (*concerns)(const struct file *))
{
	struct bv_call *call = &kept_in(instance)->call;
	struct file *file = argument(regs, 1);

	if (!bv_is_recorded() || !concerns(file))
		return 1;
	*call = call_of(kind, file);
	/* The file itself does not know O_CLOEXEC. */
	call->flags |= asked_flags() & O_CLOEXEC;
	return 0;
}

static int control_open_begins(struct kretprobe_instance *instance,
			       struct pt_regs *regs)
{
	return keep_open(instance, regs, 'O', is_control);
}

static int kmsg_open_begins(struct kretprobe_instance *instance,
			    struct pt_regs *regs)
{
	return keep_open(instance, regs, 'O', is_writer);
}

static int acm_open_begins(struct kretprobe_instance *instance,
			   struct pt_regs *regs)
{
	return keep_open(instance, regs, 'T', is_acm);
}

static int record_if_done(struct kretprobe_instance *instance,
			  struct pt_regs *regs)
{
	if ((int)regs_return_value(regs) == 0)
		bv_record(&kept_in(instance)->call);
	return 0;
}

static int hidraw_open_begins(struct kretprobe_instance *instance,
			      struct pt_regs *regs)
{
	return keep_open(instance, regs, 'H', is_any);
}

static int hidraw_open_ends(struct kretprobe_instance *instance,
			    struct pt_regs *regs)
{
	struct bv_call *call = &kept_in(instance)->call;

	scnprintf(call->rest, sizeof(call->rest), "%d %llu",
		  (int)regs_return_value(regs), ktime_get_ns() - call->began);
	bv_record(call);
	return 0;
}

/* sysfs_kf_write(kernfs_open_file, kernel's copy of the bytes, size, offset) */

static int control_write_begins(struct kretprobe_instance *instance,
				struct pt_regs *regs)
{
	const struct kernfs_open_file *open = argument(regs, 0);
	struct bv_call *call = &kept_in(instance)->call;

	if (!bv_is_recorded() || !is_control(open->file))
		return 1;
	*call = call_of('W', open->file);
	call->bytes = argument(regs, 1);
	call->size = regs_get_kernel_argument(regs, 2);
	/* Who learns of a node's write finds the bytes in it. */
	if (is_node(open->file))
		return 0;
	/* Before the device sleeps or wakes. */
	bv_record(call);
	return 1;
}

static int control_write_ends(struct kretprobe_instance *instance,
			      struct pt_regs *regs)
{
	bv_record(&kept_in(instance)->call);
	return 0;
}

/* tty_read(kiocb, iov_iter) */

static int acm_read_begins(struct kretprobe_instance *instance,
			   struct pt_regs *regs)
{
	const struct kiocb *io = argument(regs, 0);

	if (!bv_is_recorded() || !is_acm(io->ki_filp))
		return 1;
	kept_in(instance)->call = call_of('R', io->ki_filp);
	return 0;
}

static int acm_read_ends(struct kretprobe_instance *instance,
			 struct pt_regs *regs)
{
	struct bv_call *call = &kept_in(instance)->call;
	const long result = regs_return_value(regs);

	if (result <= 0)
		return 0;
	scnprintf(call->rest, sizeof(call->rest), "%ld", result);
	bv_record(call);
	return 0;
}

/* devkmsg_write(kiocb, iov_iter) */

static int kmsg_write_begins(struct kretprobe_instance *instance,
			     struct pt_regs *regs)
{
	const struct kiocb *io = argument(regs, 0);
	const struct iov_iter *bytes = argument(regs, 1);

	if (!bv_is_recorded())
		return 1;
	kept_in(instance)->call = call_of('W', io->ki_filp);
	kept_in(instance)->bytes = *bytes;
	return 0;
}

/* Here no page can be fetched; the write that ends has used them all. */
static int kmsg_write_ends(struct kretprobe_instance *instance,
			   struct pt_regs *regs)
{
	struct bv_call *call = &kept_in(instance)->call;
	struct iov_iter *from = &kept_in(instance)->bytes;
	const size_t size = min_t(size_t, iov_iter_count(from), BV_MOST_BYTES);
	void *bytes = kmalloc(size, GFP_ATOMIC);

	pagefault_disable();
	if (bytes && copy_from_iter(bytes, size, from) == size) {
		call->bytes = bytes;
		call->size = size;
		bv_record(call);
	} else {
		bv_record_lost();
	}
	pagefault_enable();
	kfree(bytes);
	return 0;
}

/* do_filp_open(folder, filename, how) */

static int creation_begins(struct kretprobe_instance *instance,
			   struct pt_regs *regs)
{
	const struct filename *name = argument(regs, 1);
	const unsigned int flags = asked_flags();

	if (!(flags & O_CREAT) || !bv_is_recorded() ||
	    strncmp(name->name, "/sys/", 5))
		return 1;
	kept_in(instance)->call = (struct bv_call){
		.kind = 'X',
		.began = ktime_get_ns(),
		.flags = flags,
		.name = name->name,
	};
	return 0;
}

static int creation_ends(struct kretprobe_instance *instance,
			 struct pt_regs *regs)
{
	struct bv_call *call = &kept_in(instance)->call;

	if ((long)regs_return_value(regs) != -EACCES)
		return 0;
	scnprintf(call->rest, sizeof(call->rest), "%d", EACCES);
	bv_record(call);
	return 0;
}

static struct kprobe calls[] = {
	{ .symbol_name = "kernfs_fop_release",
	  .pre_handler = on_control_release },
	{ .symbol_name = "devkmsg_release", .pre_handler = on_kmsg_release },
	{ .symbol_name = "tty_release", .pre_handler = on_acm_release },
	{ .symbol_name = "hidraw_release", .pre_handler = on_hidraw_release },
};

/* So many calls can be under way at once: blocked reads among them. */
#define MOST_AT_ONCE 256

#define RETURN_PROBE(name, begins, ends)                           \
	{                                                          \
		.kp.symbol_name = name, .entry_handler = begins,   \
		.handler = ends, .data_size = sizeof(struct kept), \
		.maxactive = MOST_AT_ONCE,                         \
	}

static struct kretprobe returns[] = {
	RETURN_PROBE("kernfs_fop_open", control_open_begins, record_if_done),
	RETURN_PROBE("sysfs_kf_write", control_write_begins,
		     control_write_ends),
	RETURN_PROBE("devkmsg_open", kmsg_open_begins, record_if_done),
	RETURN_PROBE("devkmsg_write", kmsg_write_begins, kmsg_write_ends),
	RETURN_PROBE("tty_open", acm_open_begins, record_if_done),
	RETURN_PROBE("tty_read", acm_read_begins, acm_read_ends),
	RETURN_PROBE("hidraw_open", hidraw_open_begins, hidraw_open_ends),
	RETURN_PROBE("do_filp_open", creation_begins, creation_ends),
};

unsigned long bv_probes_missed(void)
{
	unsigned long missed = 0;
	size_t i;

	for (i = 0; i < ARRAY_SIZE(calls); i++)
		missed += calls[i].nmissed;
	for (i = 0; i < ARRAY_SIZE(returns); i++)
		missed += returns[i].nmissed + returns[i].kp.nmissed;
	return missed;
}

static void unregister(size_t call_count, size_t return_count)
{
	while (return_count > 0)
		unregister_kretprobe(&returns[--return_count]);
	while (call_count > 0)
		unregister_kprobe(&calls[--call_count]);
}

int bv_probes_register(void)
{
	size_t i, j;
	int err;

	for (i = 0; i < ARRAY_SIZE(calls); i++) {
		err = register_kprobe(&calls[i]);
		if (err) {
			pr_err("no probe of %s\n", calls[i].symbol_name);
			unregister(i, 0);
			return err;
		}
	}
	for (j = 0; j < ARRAY_SIZE(returns); j++) {
		err = register_kretprobe(&returns[j]);
		if (err) {
			pr_err("no probe of %s\n", returns[j].kp.symbol_name);
			unregister(i, j);
			return err;
		}
	}
	return 0;
}

void bv_probes_unregister(void)
{
	unregister(ARRAY_SIZE(calls), ARRAY_SIZE(returns));
}
