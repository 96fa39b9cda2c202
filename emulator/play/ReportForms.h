// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the forms of a report share.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "emulator/play/Report.h"

namespace play {

std::unique_ptr<Report> reportAsText(std::ostream& out);
std::unique_ptr<Report> reportAsTap(std::ostream& out);
std::unique_ptr<Report> reportAsJunit(std::ostream& out);

// UTF-8 that XML can hold, too: what is none is U+FFFD, and control bytes but line feeds are spelt
// as in the journal.
std::string printable(const std::string& text);

// "1.234", of seconds.
std::string inSeconds(std::chrono::milliseconds time);

std::vector<std::string> linesOf(const std::string& text);

// "FILE:LINE:COLUMN".
std::string placeOf(const Result& result);

}  // namespace play
