#include <hidl/HidlSupport.h>
