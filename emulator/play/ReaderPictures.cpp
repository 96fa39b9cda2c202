// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/ReaderPictures.h"

#include "emulator/cover/Panel.h"
#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"

namespace play {

namespace {

// The service counts a panel's pixels in 16 bits.
constexpr size_t kMostPixels = UINT16_MAX;
// They are all held in memory.
constexpr size_t kMostPictures = 100;

std::string sizeText(std::pair<size_t, size_t> size) {
    return std::to_string(size.first) + " x " + std::to_string(size.second);
}

}  // namespace

Pictures::Pictures(const Values& values) : mValues(values) {
    const cover::PanelOptions options;
    mLast = {options.width, options.height};
    mSizes = {mLast};
}

void Pictures::noteSize(const Json& change) {
    mLast = {change.value("width", mLast.first), change.value("height", mLast.second)};
    mSizes.insert(mLast);
}

Pictures::Levels Pictures::read(const Value& value, bool isExact) {
    const std::string name = mValues.line(value, "a picture");
    if (++mRead > kMostPictures) {
        mValues.refuse(value,
                       "a scenario has at most " + std::to_string(kMostPictures) + " pictures");
    }
    const std::filesystem::path file = mValues.file().parent_path() / name;
    picture::Picture picture;
    try {
        picture = picture::decodePng(load(file), kMostPixels);
    } catch (const Wrong& wrong) {
        mValues.refuse(value, std::string("the picture ") + wrong.what());
    } catch (const picture::NoPicture& none) {
        mValues.refuse(value, file.string() + " " + none.what());
    }
    const std::pair size = {picture.size.width, picture.size.height};
    if (!mSizes.contains(size)) {
        mValues.refuse(value, file.string() + " is " + sizeText(size) +
                                      " pixels large, the panel " + sizeText(mLast));
    }
    Levels made = {file, size.first, size.second, picture::ditherToLevels(picture)};
    for (size_t i = 0; isExact && i < made.levels.size(); ++i) {
        if (picture::greyOf(made.levels[i]) == picture.pixels[i]) continue;
        mValues.refuse(value, file.string() +
                                      " has greys that are none of the panel's 16; \"ctl "
                                      "snapshot\" keeps what the panel shows");
    }
    return made;
}

PicturePattern Pictures::expected(const Value& value) {
    const Levels read = this->read(value, true);
    PicturePattern pattern = {read.file, read.width, read.height, ""};
    for (const uint8_t level : read.levels) pattern.levels += "0123456789abcdef"[level];
    return pattern;
}

Json Pictures::words(const Value& value) {
    return picture::wordsOf(read(value, false).levels);
}

}  // namespace play
