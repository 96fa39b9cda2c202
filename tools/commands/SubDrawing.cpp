// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl sub show, text, test-pattern, clear: pictures on the sub display.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/picture/Lettering.h"
#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"
#include "tools/picture/Scale.h"
#include "tools/picture/TestPattern.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::picture::Picture;
using ::picture::Size;

constexpr char kShowHelp[] = R"(
PICTURE is a PNG file of any depth and colour. It is shown in grey, transparent parts
over black, of an animation the picture that stands for it. It is made as large as the
panel allows, in the middle, with black bars where its proportions are others than the
panel's; --stretch fills the whole panel. In the panel's size a picture whose greys are
the panel's 16 levels is shown pixel for pixel.

The service queues the picture and answers at once; a newer one replaces it.

Examples:
  bivistactl sub show picture.png
  bivistactl sub show --stretch photo.png
  bivistactl sub show --no-dither icon.png)";

constexpr char kTextHelp[] = R"(
One line, white on black and centred, as large as the panel's width allows, but at most
a third of its height. Letters stand side by side as they come: scripts that join or
reorder them look wrong. A letter that the font lacks is named, and nothing is drawn.

Examples:
  bivistactl sub text "12:45"
  bivistactl sub text --font /usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf Hello)";

constexpr char kTestPatternHelp[] = R"(
The panel's 16 levels as bars, black on the left to white on the right, within a white
border, with a white square in the upper left corner.

Examples:
  bivistactl sub test-pattern)";

constexpr char kClearHelp[] = R"(
Draws a black picture; "bivistactl sub off" switches the panel off.

Examples:
  bivistactl sub clear)";

constexpr char kNotDrawn[] =
        "the panel is off or gone, or two pictures are on their way to it. See \"bivistactl sub "
        "state\"; the service's log tells which.";

// More than any picture within the limit of pixels needs, unless it hardly compresses.
constexpr size_t kMostBytes = size_t{64} << 20;

// The service counts a panel's pixels in 16 bits.
constexpr size_t kMostPanelPixels = 65535;

// Returns the levels of a panel's pixels. May throw NoPicture.
using Artist = std::function<std::vector<uint8_t>(Size panel)>;

Picture parsePicture(const std::string& path) {
    const std::string bytes = readFile(path, kMostBytes);
    try {
        if (bytes.size() > kMostBytes) throw picture::NoPicture("is longer than 64 MiB");
        return picture::decodePng(bytes);
    } catch (const picture::NoPicture& none) {
        throw BadArgument("\"" + path + "\" " + none.what());
    }
}

std::u32string parseLine(const std::string& text) {
    const auto characters = decodeUtf8(text);
    if (!characters) throw BadArgument("\"" + spellControls(text) + "\" is not UTF-8");
    if (characters->empty()) {
        throw BadArgument("\"\" is no text; \"bivistactl sub clear\" clears the panel");
    }
    for (const char32_t character : *characters) {
        if (!isControl(character)) continue;
        throw BadArgument("\"" + spellControls(text) +
                          "\" holds a control character; a text is one line");
    }
    return *characters;
}

void requireDrawable(Size panel) {
    if (panel.pixels() > 0 && panel.pixels() <= kMostPanelPixels) return;
    throw Failure(EXIT_ANSWERED_FAIL, "the panel reports " + std::to_string(panel.width) + " x " +
                                              std::to_string(panel.height) +
                                              " pixels, and no picture of that size can be drawn.");
}

std::vector<uint32_t> makeFrame(const Artist& draw, Size panel) {
    try {
        return picture::wordsOf(draw(panel));
    } catch (const picture::NoPicture& none) {
        throw Failure(EXIT_USAGE, std::string(none.what()) + ".");
    }
}

int draw(const Artist& artist, bool json) {
    const auto service = findService();
    const auto info = ask<&BivistaV1_0::getSubDisplayInfo>(service);
    if (info.status != Status::OK) {
        return reportAnswer<&BivistaV1_0::getSubDisplayInfo>(info, json, kNoPanel);
    }
    const Size panel = {info.value.x, info.value.y};
    requireDrawable(panel);
    const auto drawn = ask<&BivistaV1_0::drawSubDisplay>(service, makeFrame(artist, panel));
    return reportAnswer<&BivistaV1_0::drawSubDisplay>(drawn, json, kNotDrawn);
}

void addDrawing(cli::Command& command, const Artist& artist) {
    addPrinting(command, [artist](bool json) { return draw(artist, json); });
}

void addShow(cli::Command& sub) {
    cli::Command& command = sub.add("show", "Show a picture", kShowHelp);
    const auto picture = addArgument(command, "PICTURE", "A PNG file", parsePicture);
    const auto stretch = addFlag(command, "--stretch", "Fill the panel, whatever its proportions");
    const auto noDither = addFlag(command, "--no-dither",
                                  "Show the nearest level of each pixel instead of dithering");
    addDrawing(command, [=](Size panel) {
        const Picture scaled =
                *stretch ? picture::stretch(*picture, panel) : picture::fit(*picture, panel);
        return *noDither ? picture::roundToLevels(scaled) : picture::ditherToLevels(scaled);
    });
}

void addText(cli::Command& sub) {
    cli::Command& command = sub.add("text", "Show a line of text", kTextHelp);
    const auto line = addArgument(command, "TEXT", "The text", parseLine);
    const auto font = std::make_shared<std::string>(picture::kDefaultFont);
    command.take("--font", font.get(), "A font file").showDefault();
    addDrawing(command, [line, font](Size panel) {
        return picture::roundToLevels(picture::letter(*line, *font, panel));
    });
}

}  // namespace

void addSubDrawing(cli::Command& sub) {
    addShow(sub);
    addText(sub);
    addDrawing(sub.add("test-pattern", "Show all its levels, and its edges", kTestPatternHelp),
               [](Size panel) { return picture::roundToLevels(picture::testPattern(panel)); });
    addDrawing(sub.add("clear", "Clear it", kClearHelp),
               [](Size panel) { return std::vector<uint8_t>(panel.pixels(), 0); });
}

}  // namespace bivistactl
