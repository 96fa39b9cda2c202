// SPDX-License-Identifier: GPL-2.0-only
// Copyright 2026 the Bivista maintainers.
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/device.h>
#include <linux/input.h>
#include <linux/kernfs.h>
#include <linux/kobject.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/string.h>
#include <linux/sysfs.h>

#include "bivista_phone.h"

struct node {
	union {
		struct attribute attr; /* with which each of these begins */
		struct device_attribute device;
		struct kobj_attribute kobj;
		struct module_attribute module;
	};
	size_t size;
	char text[PAGE_SIZE];
};

static DEFINE_MUTEX(text_lock);

static ssize_t node_show(const struct node *node, char *buf)
{
	/* sysfs takes no full page. */
	size_t size = min(node->size, PAGE_SIZE - 1);

	mutex_lock(&text_lock);
	memcpy(buf, node->text, size);
	mutex_unlock(&text_lock);
	return size;
}

static ssize_t node_store(struct node *node, const char *buf, size_t size)
{
	mutex_lock(&text_lock);
	memcpy(node->text, buf, size);
	node->size = size;
	mutex_unlock(&text_lock);
	return size;
}

#define DEFINE_ACCESS(type, first, second)                                    \
	static ssize_t type##_show(first, second, char *buf)                  \
	{                                                                     \
		return node_show(container_of(attr, struct node, type), buf); \
	}                                                                     \
	static ssize_t type##_store(first, second, const char *buf,           \
				    size_t size)                              \
	{                                                                     \
		return node_store(container_of(attr, struct node, type), buf, \
				  size);                                      \
	}

DEFINE_ACCESS(device, struct device *owner, struct device_attribute *attr)
DEFINE_ACCESS(kobj, struct kobject *owner, struct kobj_attribute *attr)
DEFINE_ACCESS(module, struct module_attribute *attr,
	      struct module_kobject *owner)

#define DEFINE_NODE(name, type, first)                                 \
	static struct node name = {                                    \
		.type = __ATTR(name, 0644, type##_show, type##_store), \
		.size = sizeof(first) - 1,                             \
		.text = first,                                         \
	}

DEFINE_NODE(bv2_hal_ready, device, "N\n");
DEFINE_NODE(bv2_recovery, device, "N\n");
DEFINE_NODE(bv2_pd, device, "0 0\n");
DEFINE_NODE(virtual_mcu_firmware_write, device, "0\n");
DEFINE_NODE(bv_update_state, device, "0 0 0\n");
DEFINE_NODE(wake_lock, kobj, "PowerManagerService.Display\n");
DEFINE_NODE(aes_mode, module, "0\n");

static struct attribute *bv2_attrs[] = {
	&bv2_hal_ready.attr,
	&bv2_recovery.attr,
	&bv2_pd.attr,
	NULL,
};
ATTRIBUTE_GROUPS(bv2);

static struct attribute *keys_attrs[] = {
	&virtual_mcu_firmware_write.attr,
	NULL,
};
ATTRIBUTE_GROUPS(keys);

static struct attribute *touch_attrs[] = {
	&bv_update_state.attr,
	NULL,
};
ATTRIBUTE_GROUPS(touch);

bool bv_is_node(const void *attribute)
{
	static const struct attribute *const attrs[] = {
		&bv2_hal_ready.attr,
		&bv2_recovery.attr,
		&bv2_pd.attr,
		&wake_lock.attr,
		&virtual_mcu_firmware_write.attr,
		&bv_update_state.attr,
		&aes_mode.attr,
	};
	size_t i;

	for (i = 0; i < ARRAY_SIZE(attrs); i++)
		if (attrs[i] == attribute)
			return true;
	return false;
}

static const char folder[] = "bivista";
/* The kernel's folder of the class has one name, its uevents another. */
static const char subsystem[] = "QMX_BV2";
static struct class bivista_class = { .name = folder };
static struct device *bv2;

static int create_bv2(void)
{
	int err = class_register(&bivista_class);

	if (err)
		return err;
	bv2 = device_create_with_groups(&bivista_class, NULL, MKDEV(0, 0), NULL,
					bv2_groups, "bv2");
	if (IS_ERR(bv2)) {
		class_unregister(&bivista_class);
		return PTR_ERR(bv2);
	}
	bivista_class.name = subsystem;
	return 0;
}

static void remove_bv2(void)
{
	bivista_class.name = folder;
	device_unregister(bv2);
	class_unregister(&bivista_class);
}

/* What else the kernel puts into a uevent, at most. */
#define OTHER_KEYS 8
#define OTHER_BYTES 128

int bv_raise_uevent(char *keys, size_t size)
{
	char *env[UEVENT_NUM_ENVP - OTHER_KEYS + 1] = {};
	char *key, *end = keys + size;
	size_t count = 0;

	if (size > UEVENT_BUFFER_SIZE - OTHER_BYTES)
		return -EMSGSIZE;
	for (key = keys; key < end; key += strlen(key) + 1) {
		if (count == ARRAY_SIZE(env) - 1)
			return -E2BIG;
		if (!strchr(key, '=') || *key == '=')
			return -EINVAL;
		env[count++] = key;
	}
	return kobject_uevent_env(&bv2->kobj, KOBJ_CHANGE, env);
}

static struct platform_device *soc;
static struct platform_device *keys;

static int create_keys(void)
{
	int err;

	soc = platform_device_register_simple("soc", PLATFORM_DEVID_NONE, NULL,
					      0);
	if (IS_ERR(soc))
		return PTR_ERR(soc);
	keys = platform_device_alloc("soc:gpio_keys", PLATFORM_DEVID_NONE);
	if (!keys) {
		err = -ENOMEM;
		goto unregister_soc;
	}
	keys->dev.parent = &soc->dev;
	keys->dev.groups = keys_groups;
	err = platform_device_add(keys);
	if (err)
		goto put_keys;
	return 0;

put_keys:
	platform_device_put(keys);
unregister_soc:
	platform_device_unregister(soc);
	return err;
}

static void remove_keys(void)
{
	platform_device_unregister(keys);
	platform_device_unregister(soc);
}

static struct device *touch;

static int create_touch(void)
{
	touch = device_create_with_groups(&input_class, NULL, MKDEV(0, 0), NULL,
					  touch_groups, "qmx_touch");
	return PTR_ERR_OR_ZERO(touch);
}

static struct kobject *power;

/* No module is given the object of /sys/power, but sysfs knows it. */
static int create_wake_lock(void)
{
	struct kernfs_node *node = THIS_MODULE->mkobj.kobj.sd;

	while (node->parent)
		node = node->parent;
	node = kernfs_find_and_get(node, "power");
	if (!node) {
		pr_err("there is no /sys/power\n");
		return -ENODEV;
	}
	power = node->priv;
	kernfs_put(node);
	return sysfs_create_file(power, &wake_lock.attr);
}

static void remove_wake_lock(void)
{
	sysfs_remove_file(power, &wake_lock.attr);
}

static struct kobject *usbhid;

static struct module *usbhid_module(void)
{
	return container_of(usbhid, struct module_kobject, kobj)->mod;
}

static int create_aes_mode(void)
{
	int err = -ENODEV;

	usbhid = kset_find_obj(THIS_MODULE->mkobj.kobj.kset, "usbhid");
	if (!usbhid) {
		pr_err("usbhid is not loaded\n");
		return -ENODEV;
	}
	/* Its parameters, with our file, go with the module. */
	if (!try_module_get(usbhid_module()))
		goto put_usbhid;
	err = sysfs_add_file_to_group(usbhid, &aes_mode.attr, "parameters");
	if (err)
		goto put_module;
	return 0;

put_module:
	module_put(usbhid_module());
put_usbhid:
	kobject_put(usbhid);
	return err;
}

static void remove_aes_mode(void)
{
	sysfs_remove_file_from_group(usbhid, &aes_mode.attr, "parameters");
	module_put(usbhid_module());
	kobject_put(usbhid);
}

int bv_nodes_create(void)
{
	int err = create_bv2();

	if (err)
		return err;
	err = create_keys();
	if (err)
		goto remove_bv2;
	err = create_touch();
	if (err)
		goto remove_keys;
	err = create_wake_lock();
	if (err)
		goto remove_touch;
	err = create_aes_mode();
	if (err)
		goto remove_wake_lock;
	return 0;

remove_wake_lock:
	remove_wake_lock();
remove_touch:
	device_unregister(touch);
remove_keys:
	remove_keys();
remove_bv2:
	remove_bv2();
	return err;
}

void bv_nodes_remove(void)
{
	remove_aes_mode();
	remove_wake_lock();
	device_unregister(touch);
	remove_keys();
	remove_bv2();
}
