// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/picture/Lettering.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <stdio.h>

#include <algorithm>
#include <memory>

namespace picture {
namespace {

// The height of a line of letters; smaller letters cannot be read.
constexpr unsigned kSmallest = 8;
constexpr unsigned kLargest = 200;
// Left and right of the text.
constexpr long kMargin = 1;

std::string utf8(char32_t character) {
    const auto first = [&](unsigned mark, int shift) {
        return static_cast<char>(mark | (character >> shift));
    };
    const auto next = [&](int shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3f));
    };
    if (character < 0x80) return {first(0, 0)};
    if (character < 0x800) return {first(0xc0, 6), next(0)};
    if (character < 0x10000) return {first(0xe0, 12), next(6), next(0)};
    return {first(0xf0, 18), next(12), next(6), next(0)};
}

// "\"A\" (U+0041)".
std::string nameOf(char32_t character) {
    char point[16];
    snprintf(point, sizeof(point), "U+%04X", static_cast<unsigned>(character));
    return "\"" + utf8(character) + "\" (" + point + ")";
}

// The letters of a font in one size at a time. Lengths are in pixels.
class Letters {
  public:
    explicit Letters(const std::string& path) : mPath(path) {
        FT_Library library = nullptr;
        if (FT_Init_FreeType(&library) != 0) throw NoPicture("no memory for letters");
        mLibrary.reset(library);
        FT_Face face = nullptr;
        if (FT_New_Face(library, path.c_str(), 0, &face) != 0) {
            throw NoPicture("\"" + path +
                            "\" is no font that can be read. Install the package "
                            "fonts-dejavu-core, or name a font file with --font");
        }
        mFace.reset(face);
        if (!FT_IS_SCALABLE(face)) {
            throw NoPicture("\"" + path + "\" is a font of fixed sizes; name another with --font");
        }
    }

    void setHeight(unsigned height) {
        FT_Size_RequestRec request = {FT_SIZE_REQUEST_TYPE_REAL_DIM, 0,
                                      static_cast<FT_Long>(height) * 64, 0, 0};
        if (FT_Request_Size(mFace.get(), &request) != 0) throw NoPicture("the font has no sizes");
    }

    long widthOf(std::u32string_view text) {
        long width = 0;
        for (const char32_t character : text) {
            load(character, FT_LOAD_DEFAULT);
            width += advance();
        }
        return width;
    }

    // From the top of the line to the line that letters stand on.
    long ascent() const { return mFace->size->metrics.ascender / 64; }
    long height() const { return ascent() - mFace->size->metrics.descender / 64; }

    // Adds the letter, which stands on the point; returns how far it reaches.
    long draw(char32_t character, long x, long y, Picture& picture) {
        load(character, FT_LOAD_RENDER);
        const FT_GlyphSlot glyph = mFace->glyph;
        if (glyph->bitmap.pixel_mode != FT_PIXEL_MODE_GRAY) return advance();
        for (unsigned row = 0; row < glyph->bitmap.rows; ++row) {
            const uint8_t* ink = glyph->bitmap.buffer + long{row} * glyph->bitmap.pitch;
            for (unsigned column = 0; column < glyph->bitmap.width; ++column) {
                put(picture, x + glyph->bitmap_left + column, y - glyph->bitmap_top + row,
                    ink[column]);
            }
        }
        return advance();
    }

  private:
    // Letters may reach over the edge, and over one another.
    static void put(Picture& picture, long x, long y, uint8_t ink) {
        if (x < 0 || y < 0) return;
        const auto column = static_cast<size_t>(x);
        const auto row = static_cast<size_t>(y);
        if (column >= picture.size.width || row >= picture.size.height) return;
        picture.at(column, row) = std::max(picture.at(column, row), ink);
    }

    // A font draws a box for a letter that it lacks, which would not show which letter is missing.
    void load(char32_t character, FT_Int32 flags) {
        const FT_UInt glyph = FT_Get_Char_Index(mFace.get(), character);
        if (glyph != 0 && FT_Load_Glyph(mFace.get(), glyph, flags | FT_LOAD_NO_BITMAP) == 0) return;
        throw NoPicture("the font \"" + mPath + "\" has no letter " + nameOf(character) +
                        "; name another with --font");
    }

    // How far the loaded letter reaches.
    long advance() const { return mFace->glyph->advance.x / 64; }

    const std::string mPath;
    std::unique_ptr<FT_LibraryRec_, FT_Error (*)(FT_Library)> mLibrary = {nullptr,
                                                                          FT_Done_FreeType};
    std::unique_ptr<FT_FaceRec_, FT_Error (*)(FT_Face)> mFace = {nullptr, FT_Done_Face};
};

// Leaves the letters in the largest size in which the text fits; returns the text's width.
long chooseWidth(Letters& letters, std::u32string_view text, Size size) {
    const size_t largest = std::clamp<size_t>(size.height / 3, kSmallest, kLargest);
    for (auto height = static_cast<unsigned>(largest); height >= kSmallest; --height) {
        letters.setHeight(height);
        const long width = letters.widthOf(text);
        if (width + 2 * kMargin <= static_cast<long>(size.width) &&
            letters.height() <= static_cast<long>(size.height)) {
            return width;
        }
    }
    throw NoPicture("the text cannot be written legibly on a panel of " +
                    std::to_string(size.width) + " x " + std::to_string(size.height) + " pixels");
}

}  // namespace

Picture letter(std::u32string_view text, const std::string& font, Size size) {
    Letters letters(font);
    const long width = chooseWidth(letters, text, size);
    Picture picture = black(size);
    long x = (static_cast<long>(size.width) - width) / 2;
    const long y = (static_cast<long>(size.height) - letters.height()) / 2 + letters.ascent();
    for (const char32_t character : text) x += letters.draw(character, x, y, picture);
    return picture;
}

}  // namespace picture
