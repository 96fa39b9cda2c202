// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The settings of clients, which a run keeps.
#pragma once

namespace bivista_vts {

// Reads the settings of every instance before the first test, and switches its screen off; after
// the last test they are set again. No method returns them, so a dump must. Without a dump of the
// known form they end as those of a fresh cover, and a screen that was on at half its brightness.
void keepSettings();

}  // namespace bivista_vts
