// The panel that is attached, or was last, as the files of the sub display share it.
#pragma once

#include <vendor/qmx/hardware/bivista/1.0/types.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

class Bivista;

// Size and format; zeros before the first panel. Any thread.
V1_0::SubScreenInfo subScreenInfo();

// The service object that the last panel was attached to; null before the first one.
Bivista* subDisplayService();

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
