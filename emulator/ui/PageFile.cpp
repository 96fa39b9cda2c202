// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/PageFile.h"

#include <map>

namespace ui {

std::string PageFile::type() const {
    static const std::map<std::string, std::string> types = {
            {".css", "text/css; charset=utf-8"},
            {".html", "text/html; charset=utf-8"},
            {".js", "text/javascript; charset=utf-8"},
            {".png", "image/png"},
            {".svg", "image/svg+xml"}};
    const size_t dot = name.rfind('.');
    const auto type = types.find(dot == std::string::npos ? "" : name.substr(dot));
    return type == types.end() ? "application/octet-stream" : type->second;
}

}  // namespace ui
