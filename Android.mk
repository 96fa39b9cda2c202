# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# /odm/ueventd.rc with the product's path in it. In make: a module of an Android.bp file cannot read a
# product's variable.
LOCAL_PATH := $(call my-dir)

include $(CLEAR_VARS)
LOCAL_MODULE := ueventd.bivista.rc
LOCAL_MODULE_CLASS := ETC
LOCAL_MODULE_PATH := $(TARGET_OUT_ODM)
LOCAL_INSTALLED_MODULE_STEM := ueventd.rc
include $(BUILD_SYSTEM)/base_rules.mk

$(LOCAL_BUILT_MODULE): $(LOCAL_PATH)/service/ueventd.bivista.rc
	@mkdir -p $(dir $@)
	$(hide) sed 's|@BIVISTA_USB_CONTROLLER@|$(BIVISTA_USB_CONTROLLER)|' $< >$@
