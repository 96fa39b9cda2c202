// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Only for ThreadSanitizer: Debian's libutils is not instrumented, so that the sanitizer does not
// see that counting references orders their users. This stands before the library's function, tells
// of the order, and goes on there.
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

extern "C" void _ZNK7android7RefBase9decStrongEPKv(const void* object, const void* id);

extern "C" void _ZNK7android7RefBase9decStrongEPKv(const void* object, const void* id) {
    using Function = void (*)(const void*, const void*);
    static const auto next =
            reinterpret_cast<Function>(dlsym(RTLD_NEXT, "_ZNK7android7RefBase9decStrongEPKv"));
    void* const counter = const_cast<void*>(object);
    __tsan_release(counter);
    __tsan_acquire(counter);
    next(object, id);
}
