#include "emulator/phone/program/Png.h"

#include <cstdint>
#include <vector>

#include <png.h>

namespace emulator {

std::string writePng(const std::string& path, const cover::Picture& picture) {
    constexpr uint8_t kStep = 255 / 15;
    std::vector<uint8_t> pixels;
    pixels.reserve(picture.levels.size());
    for (const uint8_t level : picture.levels) pixels.push_back(level * kStep);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr) != 0) return "";
    return "cannot write the picture " + path + ": " + image.message;
}

}  // namespace emulator
