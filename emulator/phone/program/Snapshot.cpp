// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// ctl snapshot: what the sub display shows, as a PNG file.

#include "emulator/phone/program/Snapshot.h"

#include <cstdint>
#include <stdexcept>

#include <png.h>

#include "cli/File.h"
#include "cli/Output.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// A picture with pixels as a PNG of 8-bit grey: level n is 17 n.
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

}  // namespace

cover::Picture readPicture(const Json& snapshot) {
    cover::Picture picture;
    snapshot.at("width").get_to(picture.width);
    snapshot.at("height").get_to(picture.height);
    for (const char digit : snapshot.at("levels").get<std::string>()) {
        picture.levels.push_back(digit >= 'a' ? digit - 'a' + 10 : digit - '0');
    }
    if (picture.levels.size() != size_t{picture.width} * picture.height) throw ForeignAnswer();
    return picture;
}

void keepSnapshot(Session& session, const Json& given) {
    const auto snapshot = session.ask("GET", "/v1/snapshot");
    if (!snapshot) return;
    const cover::Picture picture = readPicture(*snapshot);
    if (picture.levels.empty()) {
        session.fail("there is no picture to keep: the sub display says that it has no pixels");
        return;
    }
    const std::string path = given.at("file");
    const std::string png = encodePng(picture);
    if (path == "-") {
        cli::printOrFail(png);
        return;
    }
    const std::string error = cli::writeFile(path, png);
    if (!error.empty()) session.fail("cannot write the picture " + path + ": " + error);
}

}  // namespace emulator
