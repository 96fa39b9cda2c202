// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A Unix socket as one of kj's streams, which carries descriptors beside bytes.
#pragma once

#include <kj/async-io.h>

#include <android-base/unique_fd.h>

namespace android::hardware {

// Takes the connected socket. kj's own streams belong to one thread's loop; this one is used in
// turns of Loop, by any thread.
kj::Own<kj::AsyncCapabilityStream> streamOf(base::unique_fd socket);

}  // namespace android::hardware
