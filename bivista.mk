# What a product takes to ship the service; docs/integration.md tells the rest:
#     $(call inherit-product, vendor/qmx/bivista/bivista.mk)

bivista_folder := $(patsubst %/,%,$(dir $(lastword $(MAKEFILE_LIST))))

PRODUCT_PACKAGES += vendor.qmx.hardware.bivista@1.1-service

DEVICE_FRAMEWORK_COMPATIBILITY_MATRIX_FILE += \
    $(bivista_folder)/service/framework_compatibility_matrix.xml

BOARD_SEPOLICY_DIRS += \
    $(bivista_folder)/service/sepolicy \
    $(bivista_folder)/service/sepolicy/neighbours
