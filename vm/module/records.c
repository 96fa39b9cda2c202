// SPDX-License-Identifier: GPL-2.0-only
// Copyright 2026 the Bivista maintainers.
#include <linux/dcache.h>
#include <linux/kfifo.h>
#include <linux/magic.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/poll.h>
#include <linux/sched.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/spinlock.h>
#include <linux/string.h>
#include <linux/timekeeping.h>
#include <linux/uaccess.h>
#include <linux/wait.h>

#include "bivista_phone.h"

#define RING_SIZE (1 << 20)

/* Who writes to the ring or makes it anew holds it. */
static DEFINE_SPINLOCK(ring_lock);
static STRUCT_KFIFO_REC_2(RING_SIZE) ring;
static pid_t reader;	     /* 0: nobody; records are not made */
static unsigned long lost;   /* since the ring was last empty */
static unsigned long missed; /* of bv_probes_missed(), what has been told */

/* The line that is being made, under ring_lock. */
static char line[4 * BV_MOST_BYTES];
static size_t line_size;

/* Who takes records from the ring holds it. */
static DEFINE_MUTEX(read_lock);
static DECLARE_WAIT_QUEUE_HEAD(readers);

bool bv_is_recorded(void)
{
	pid_t pid = READ_ONCE(reader);

	return pid && pid != task_tgid_nr(current);
}

__printf(1, 2) static void append(const char *format, ...)
{
	va_list args;

	va_start(args, format);
	line_size += vscnprintf(line + line_size, sizeof(line) - line_size,
				format, args);
	va_end(args);
}

/*
 * The name of a file, at the end of a buffer. Not d_path()'s: what a process
 * leaves open is closed when it has no root folder any more.
 */
static char *file_name(const struct file *file, char *buffer, size_t size)
{
	struct dentry *dentry = file->f_path.dentry;
	const bool in_sysfs = dentry->d_sb->s_magic == SYSFS_MAGIC;
	const char *const mount = in_sysfs ? "/sys" : "/dev";
	const size_t length = strlen(mount);
	char *name = dentry_path_raw(dentry, buffer + length, size - length);

	return IS_ERR(name) ? name : memcpy(name - length, mount, length);
}

/* Begins the line; false: it has no room for the path. */
static bool begin_line(const struct bv_call *call)
{
	static char buffer[PATH_MAX];
	char *name, *end;

	if (call->file) {
		name = file_name(call->file, buffer, sizeof(buffer));
		if (IS_ERR(name))
			return false;
	} else {
		name = buffer + sizeof(buffer) - strlen(call->name) - 1;
		if (name < buffer)
			return false;
		strcpy(name, call->name);
	}
	end = mangle_path(buffer, name, " \t\n\\");
	if (!end)
		return false;
	*end = '\0';
	line_size = 0;
	append("%c %d %llu %x %s", call->kind, task_tgid_nr(current),
	       call->began, call->flags, buffer);
	return true;
}

static void append_bytes(const void *bytes, size_t size)
{
	/* A path, its bytes in hex and the rest of the fields. */
	static_assert(sizeof(line) > PATH_MAX + 2 * BV_MOST_BYTES + 100);
	char *end = line + line_size;

	size = min_t(size_t, size, BV_MOST_BYTES);
	line_size = bin2hex(end, bytes, size) - line;
}

static void append_rest(const struct bv_call *call)
{
	if (call->kind == 'W' && call->size) {
		append(" ");
		append_bytes(call->bytes, call->size);
	} else if (call->kind == 'W') {
		append(" -");
	} else if (call->rest[0]) {
		append(" %s", call->rest);
	}
	append("\n");
}

void bv_record(const struct bv_call *call)
{
	unsigned long flags;

	spin_lock_irqsave(&ring_lock, flags);
	if (bv_is_recorded()) {
		/* After a loss the reader is told of it first. */
		if (lost || !begin_line(call)) {
			lost++;
		} else {
			append_rest(call);
			if (!kfifo_in(&ring, line, line_size))
				lost++;
		}
	}
	spin_unlock_irqrestore(&ring_lock, flags);
	wake_up_interruptible(&readers);
}

void bv_record_lost(void)
{
	unsigned long flags;

	spin_lock_irqsave(&ring_lock, flags);
	if (bv_is_recorded())
		lost++;
	spin_unlock_irqrestore(&ring_lock, flags);
	wake_up_interruptible(&readers);
}

/* To be called when the ring is empty. */
static void tell_lost(void)
{
	unsigned long now_missed = bv_probes_missed();
	unsigned long flags;

	spin_lock_irqsave(&ring_lock, flags);
	lost += now_missed - missed;
	missed = now_missed;
	if (lost && kfifo_is_empty(&ring)) {
		line_size = 0;
		append("L 0 %llu 0 - %lu\n", ktime_get_ns(), lost);
		kfifo_in(&ring, line, line_size);
		lost = 0;
	}
	spin_unlock_irqrestore(&ring_lock, flags);
}

/* Size of the next record, 0 when there is none. */
static size_t next_record(void)
{
	if (kfifo_is_empty(&ring))
		tell_lost();
	return kfifo_is_empty(&ring) ? 0 : kfifo_peek_len(&ring);
}

static bool is_readable(void)
{
	return !kfifo_is_empty(&ring) || READ_ONCE(lost);
}

static int phone_open(struct inode *inode, struct file *file)
{
	int err = 0;

	if (file->f_mode & FMODE_READ) {
		spin_lock_irq(&ring_lock);
		if (reader) {
			err = -EBUSY;
		} else {
			kfifo_reset(&ring);
			lost = 0;
			missed = bv_probes_missed();
			WRITE_ONCE(reader, task_tgid_nr(current));
		}
		spin_unlock_irq(&ring_lock);
	}
	return err ?: stream_open(inode, file);
}

static int phone_release(struct inode *inode, struct file *file)
{
	if (file->f_mode & FMODE_READ) {
		spin_lock_irq(&ring_lock);
		WRITE_ONCE(reader, 0);
		spin_unlock_irq(&ring_lock);
	}
	return 0;
}

/* As many whole records as there are and the buffer takes. */
static ssize_t take_records(char __user *buf, size_t size)
{
	size_t done = 0;
	size_t next;
	int err;

	while ((next = next_record()) > 0) {
		unsigned int copied;

		if (next > size - done)
			return done ?: -EINVAL;
		err = kfifo_to_user(&ring, buf + done, next, &copied);
		if (err)
			return done ?: err;
		done += copied;
	}
	return done;
}

static ssize_t phone_read(struct file *file, char __user *buf, size_t size,
			  loff_t *pos)
{
	ssize_t taken;

	for (;;) {
		if (mutex_lock_interruptible(&read_lock))
			return -ERESTARTSYS;
		taken = take_records(buf, size);
		mutex_unlock(&read_lock);
		if (taken)
			return taken;
		if (file->f_flags & O_NONBLOCK)
			return -EAGAIN;
		if (wait_event_interruptible(readers, is_readable()))
			return -ERESTARTSYS;
	}
}

static __poll_t phone_poll(struct file *file, poll_table *wait)
{
	__poll_t ready = EPOLLOUT | EPOLLWRNORM;

	poll_wait(file, &readers, wait);
	if ((file->f_mode & FMODE_READ) && is_readable())
		ready |= EPOLLIN | EPOLLRDNORM;
	return ready;
}

static ssize_t phone_write(struct file *file, const char __user *buf,
			   size_t size, loff_t *pos)
{
	static const char uevent[] = "uevent ";
	const size_t skip = strlen(uevent);
	char *text;
	int err;

	if (size > PAGE_SIZE)
		return -EMSGSIZE;
	text = memdup_user_nul(buf, size);
	if (IS_ERR(text))
		return PTR_ERR(text);
	if (size > skip && !memcmp(text, uevent, skip))
		err = bv_raise_uevent(text + skip, size - skip);
	else
		err = -EINVAL;
	kfree(text);
	return err ?: size;
}

static const struct file_operations phone_operations = {
	.owner = THIS_MODULE,
	.open = phone_open,
	.release = phone_release,
	.read = phone_read,
	.write = phone_write,
	.poll = phone_poll,
};

static struct miscdevice phone = {
	.minor = MISC_DYNAMIC_MINOR,
	.name = "bivista_phone",
	.fops = &phone_operations,
};

int bv_device_register(void)
{
	INIT_KFIFO(ring);
	return misc_register(&phone);
}

void bv_device_deregister(void)
{
	misc_deregister(&phone);
}
