// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <png.h>

#include <string>
#include <string_view>
#include <vector>

// A PNG file to be.
struct PngFile {
    uint32_t width;
    uint32_t height;
    int depth;
    int colour;  // one of PNG_COLOR_TYPE_...
    // Row by row, each packed into whole bytes, as the format has them.
    std::string rows;
    bool interlaced = false;
    std::vector<png_color> palette = {};
    // Of the palette's colours.
    std::vector<uint8_t> alphas = {};

    // Its bytes.
    std::string encode() const;
};

// A grey picture of 8 bits.
PngFile greyPng(uint32_t width, uint32_t height, const std::vector<uint8_t>& pixels);

// A chunk's bytes.
std::string pngChunk(const std::string& kind, const std::string& data);

// The file with another size in its header.
std::string withSize(const std::string& png, uint32_t width, uint32_t height);

// The file with a second picture after the first one, as in an animation.
std::string animated(const std::string& png, std::string_view secondIdat);
