// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Png.h"

#include <png.h>

#include <string>

namespace picture {
namespace {

// libpng's state while it reads.
class Reader {
  public:
    explicit Reader(std::string_view bytes) {
        mImage.version = PNG_IMAGE_VERSION;
        if (png_image_begin_read_from_memory(&mImage, bytes.data(), bytes.size()) == 0) fail();
        // Tools that write 16 bit pictures without a gamma mean sRGB.
        mImage.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
        mImage.format = PNG_FORMAT_GRAY;
    }
    ~Reader() { png_image_free(&mImage); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    Size size() const { return {mImage.width, mImage.height}; }

    void readInto(std::vector<uint8_t>& pixels) {
        const png_color background = {0, 0, 0};
        if (png_image_finish_read(&mImage, &background, pixels.data(), 0, nullptr) == 0) fail();
    }

  private:
    [[noreturn]] void fail() { throw NoPicture(std::string("is no good PNG: ") + mImage.message); }

    png_image mImage = {};
};

}  // namespace

Picture decodePng(std::string_view bytes, size_t mostPixels) {
    Reader reader(bytes);
    const Size size = reader.size();
    if (size.pixels() > mostPixels) {
        throw NoPicture("is too large: " + std::to_string(size.width) + " x " +
                        std::to_string(size.height) + " pixels, of which at most " +
                        std::to_string(mostPixels) + " can be read");
    }
    Picture picture = black(size);
    reader.readInto(picture.pixels);
    return picture;
}

}  // namespace picture
