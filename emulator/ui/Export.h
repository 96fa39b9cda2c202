// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal as a file to keep.
#pragma once

#include <httplib.h>

#include "emulator/ui/Emulator.h"

namespace ui {

// Answers with a download, page by page of the journal: its JSON lines (format=journal), or trace
// events (format=perfetto).
void exportJournal(const Emulator& emulator, const httplib::Request& request,
                   httplib::Response& response);

}  // namespace ui
