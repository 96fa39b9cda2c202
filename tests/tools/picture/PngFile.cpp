// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/tools/picture/PngFile.h"

#include <stdlib.h>
#include <zlib.h>

namespace {

constexpr size_t kSignature = 8;
// Length, kind and checksum around the 13 bytes of the header.
constexpr size_t kHeaderEnd = kSignature + 25;
constexpr size_t kEndChunk = 12;

[[noreturn]] void fail(png_struct*, const char*) {
    abort();
}

void append(png_struct* png, uint8_t* bytes, size_t count) {
    auto* file = static_cast<std::string*>(png_get_io_ptr(png));
    file->append(reinterpret_cast<const char*>(bytes), count);
}

std::string bigEndian(uint32_t number) {
    std::string bytes;
    for (int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift);
    return bytes;
}

std::vector<uint8_t*> rowsOf(std::string& bytes, uint32_t height) {
    std::vector<uint8_t*> rows;
    for (uint32_t y = 0; y < height; ++y) {
        rows.push_back(reinterpret_cast<uint8_t*>(bytes.data()) + bytes.size() / height * y);
    }
    return rows;
}

}  // namespace

std::string PngFile::encode() const {
    std::string file;
    png_struct* png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
    png_info* info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, nullptr);
    png_set_IHDR(png, info, width, height, depth, colour,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
                 PNG_FILTER_TYPE_BASE);
    if (!palette.empty()) {
        png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
    }
    if (!alphas.empty()) {
        png_set_tRNS(png, info, alphas.data(), static_cast<int>(alphas.size()), nullptr);
    }
    std::string bytes = rows;
    std::vector<uint8_t*> pointers = rowsOf(bytes, height);
    png_write_info(png, info);
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

PngFile greyPng(uint32_t width, uint32_t height, const std::vector<uint8_t>& pixels) {
    return {width, height, 8, PNG_COLOR_TYPE_GRAY, std::string(pixels.begin(), pixels.end())};
}

std::string pngChunk(const std::string& kind, const std::string& data) {
    const std::string summed = kind + data;
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(summed.data()),
                            static_cast<uInt>(summed.size()));
    return bigEndian(static_cast<uint32_t>(data.size())) + summed +
           bigEndian(static_cast<uint32_t>(sum));
}

std::string withSize(const std::string& png, uint32_t width, uint32_t height) {
    const std::string rest = png.substr(kSignature + 16, 5);
    return png.substr(0, kSignature) +
           pngChunk("IHDR", bigEndian(width) + bigEndian(height) + rest) + png.substr(kHeaderEnd);
}

std::string animated(const std::string& png, std::string_view secondIdat) {
    const std::string size = png.substr(kSignature + 8, 8);
    const std::string place(14, '\0');
    std::string file = png.substr(0, kHeaderEnd);
    file += pngChunk("acTL", bigEndian(2) + bigEndian(0));
    file += pngChunk("fcTL", bigEndian(0) + size + place);
    file += png.substr(kHeaderEnd, png.size() - kHeaderEnd - kEndChunk);
    file += pngChunk("fcTL", bigEndian(1) + size + place);
    file += pngChunk("fdAT", bigEndian(2) + std::string(secondIdat));
    return file + png.substr(png.size() - kEndChunk);
}
