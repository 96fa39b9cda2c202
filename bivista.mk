# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What a product takes to ship the service; docs/integration.md tells the rest:
#     BIVISTA_USB_CONTROLLER := /sys/devices/platform/soc/a600000.ssusb/a600000.dwc3/xhci-hcd.*.auto
#     $(call inherit-product, vendor/qmx/bivista/bivista.mk)

bivista_folder := $(patsubst %/,%,$(dir $(lastword $(MAKEFILE_LIST))))

bivista_path := $(filter-out %/,$(filter /sys/devices/%,$(BIVISTA_USB_CONTROLLER)))
ifneq ($(words $(bivista_path)) $(words $(BIVISTA_USB_CONTROLLER)),1 1)
$(error BIVISTA_USB_CONTROLLER is "$(BIVISTA_USB_CONTROLLER)"; set it to the path below /sys/devices \
    of the USB controller that the cover hangs at, up to the "/" before "usb1")
endif

PRODUCT_PACKAGES += vendor.qmx.hardware.bivista@1.1-service

# The owners of the nodes, as /odm/ueventd.rc. BIVISTA_ODM_UEVENTD := false: the product has these
# lines in a ueventd.rc of its own.
ifneq ($(BIVISTA_ODM_UEVENTD),false)
PRODUCT_PACKAGES += ueventd.bivista.rc
endif

DEVICE_FRAMEWORK_COMPATIBILITY_MATRIX_FILE += \
    $(bivista_folder)/service/framework_compatibility_matrix.xml

BOARD_SEPOLICY_DIRS += \
    $(bivista_folder)/service/sepolicy \
    $(bivista_folder)/service/sepolicy/neighbours

BOARD_SEPOLICY_M4DEFS += bivista_usb_controller=$(bivista_path)
