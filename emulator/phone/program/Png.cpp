#include "emulator/phone/program/Png.h"

#include <cstdint>
#include <stdexcept>
#include <vector>

#include <png.h>

namespace emulator {

std::string encodePng(const cover::Picture& picture) {
    constexpr uint8_t kStep = 255 / 15;
    std::vector<uint8_t> pixels;
    pixels.reserve(picture.levels.size());
    for (const uint8_t level : picture.levels) pixels.push_back(level * kStep);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_GRAY;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string bytes(size, '\0');
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error(image.message);
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace emulator
