// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Standard output, which a full disk or a reader that went away can refuse.
#pragma once

#include <stdexcept>
#include <string_view>

namespace cli {

// Standard output cannot be written; `what()` says why.
class OutputFailed : public std::runtime_error {
  public:
    // `error`: errno of the write.
    explicit OutputFailed(int error);
};

// Writes to standard output and flushes, whole even when several threads print. Returns whether the
// text could be written; when it could not, errno holds the cause. Any thread.
bool print(std::string_view text);

// As print(); throws OutputFailed when it cannot be written.
void printOrFail(std::string_view text);

}  // namespace cli
