// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The files of the page, which are inside the program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ui {

struct PageFile {
    std::string name;             // as in the address: "page.js"
    std::string_view compressed;  // by gzip

    // The media type that browsers must take it for.
    std::string type() const;
};

const std::vector<PageFile>& pageFiles();

}  // namespace ui
