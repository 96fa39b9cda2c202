// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Size of a value's buffer, its terminating NUL included.
#define PROPERTY_VALUE_MAX 92

// Copies the value of the system property `key` into `value`, NUL-terminated; a longer value is cut
// to 91 bytes. When the property is unset or empty, `default_value` is copied instead, or nothing
// when that is null.
//
// `value` holds PROPERTY_VALUE_MAX bytes. Returns the length of what was copied, without its NUL; 0
// when `value` is empty. Any thread.
//
// On the host the properties are the lines `key=value` of a text file, which every call reads anew:
// $ANDROID_PROPERTY_FILE, by default /data/property/host.prop.
int property_get(const char* key, char* value, const char* default_value);

#ifdef __cplusplus
}
#endif
