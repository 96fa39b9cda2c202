// bivistactl sub show, text, test-pattern, clear: pictures on the sub display.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/Failure.h"
#include "tools/client/Ask.h"
#include "tools/commands/Command.h"
#include "tools/commands/Methods.h"
#include "tools/commands/SubDisplay.h"
#include "tools/picture/Lettering.h"
#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"
#include "tools/picture/Scale.h"
#include "tools/picture/TestPattern.h"
#include "tools/text/File.h"
#include "tools/text/Json.h"
#include "tools/text/Text.h"

namespace bivistactl {
namespace {

using ::picture::Picture;
using ::picture::Size;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

constexpr const char* kShowHelp = R"(
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

constexpr const char* kTextHelp = R"(
One line, white on black and centred, as large as the panel's width allows, but at most
a third of its height. Letters stand side by side as they come: scripts that join or
reorder them look wrong. A letter that the font lacks is named, and nothing is drawn.

Examples:
  bivistactl sub text "12:45"
  bivistactl sub text --font /usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf Hello)";

constexpr const char* kTestPatternHelp = R"(
The panel's 16 levels as bars, black on the left to white on the right, within a white
border, with a white square in the upper left corner.

Examples:
  bivistactl sub test-pattern)";

constexpr const char* kClearHelp = R"(
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

// Makes the levels of a panel's pixels. May throw NoPicture.
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
        std::vector<uint32_t> words;
        words.reserve(panel.pixels());
        // The panel takes its level from the upper half of a word's lowest byte.
        for (const uint8_t level : draw(panel)) words.push_back(uint32_t{level} << 4);
        return words;
    } catch (const picture::NoPicture& none) {
        throw Failure(EXIT_USAGE, std::string(none.what()) + ".");
    }
}

Size sizeOf(const Json& info) {
    return {info["x"].get<size_t>(), info["y"].get<size_t>()};
}

int draw(const Artist& artist, bool json) {
    const auto service = findService();
    const Answer info = ask(service, "getSubDisplayInfo");
    if (info.status != Status::OK) return reportAnswer("getSubDisplayInfo", info, kNoPanel, json);
    const Size panel = sizeOf(info.value.value());
    requireDrawable(panel);
    const auto drawn = service->drawSubDisplay(makeFrame(artist, panel));
    requireDelivered(drawn);
    return reportAnswer("drawSubDisplay", {drawn, std::nullopt}, kNotDrawn, json);
}

void addDrawing(cli::Command& command, const Artist& artist) {
    addPrinting(command, [artist](bool json) { return draw(artist, json); });
}

void addShow(cli::Command& sub) {
    struct Request {
        Picture picture;
        bool stretch = false;
        bool noDither = false;
    };
    cli::Command& command = sub.add("show", "Show a picture");
    auto request = std::make_shared<Request>();
    addArgument(command, "PICTURE", "A PNG file", parsePicture, &request->picture);
    command.flag("--stretch", &request->stretch, "Fill the panel, whatever its proportions");
    command.flag("--no-dither", &request->noDither,
                 "Show the nearest level of each pixel instead of dithering");
    command.setHelp(kShowHelp);
    addDrawing(command, [request](Size panel) {
        const Picture scaled = request->stretch ? picture::stretch(request->picture, panel)
                                                : picture::fit(request->picture, panel);
        return request->noDither ? picture::roundToLevels(scaled) : picture::ditherToLevels(scaled);
    });
}

void addText(cli::Command& sub) {
    struct Request {
        std::u32string line;
        std::string font = picture::kDefaultFont;
    };
    cli::Command& command = sub.add("text", "Show a line of text");
    auto request = std::make_shared<Request>();
    addArgument(command, "TEXT", "The text", parseLine, &request->line);
    command.take("--font", &request->font, "A font file").showDefault();
    command.setHelp(kTextHelp);
    addDrawing(command, [request](Size panel) {
        return picture::roundToLevels(picture::letter(request->line, request->font, panel));
    });
}

void addTestPattern(cli::Command& sub) {
    cli::Command& command = sub.add("test-pattern", "Show all its levels, and its edges");
    command.setHelp(kTestPatternHelp);
    addDrawing(command,
               [](Size panel) { return picture::roundToLevels(picture::testPattern(panel)); });
}

void addClear(cli::Command& sub) {
    cli::Command& command = sub.add("clear", "Clear it");
    command.setHelp(kClearHelp);
    addDrawing(command, [](Size panel) { return std::vector<uint8_t>(panel.pixels(), 0); });
}

}  // namespace

void addSubDrawing(cli::Command& sub) {
    addShow(sub);
    addText(sub);
    addTestPattern(sub);
    addClear(sub);
}

}  // namespace bivistactl
