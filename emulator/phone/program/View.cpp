// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// ctl view: the cover and its sub display, drawn in the terminal.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "cli/Colour.h"
#include "cli/Output.h"
#include "emulator/phone/client/Client.h"
#include "emulator/phone/control/StateText.h"
#include "emulator/phone/program/Canvas.h"
#include "emulator/phone/program/ChangeWatch.h"
#include "emulator/phone/program/Session.h"
#include "emulator/phone/program/Snapshot.h"
#include "emulator/phone/program/TerminalScreen.h"

namespace emulator {

using cover::Colour;

namespace {

constexpr Colour kBody = {90, 96, 110};
constexpr Colour kRim = {20, 23, 30};
// Of the cover in pixels of its screen.
constexpr size_t kBodyWidth = 1180;
constexpr size_t kBodyHeight = 2480;
constexpr double kScreenWidth = 1080;
constexpr size_t kLeastHeight = 4;
constexpr size_t kGap = 2;

Depth depthOf(int descriptor) {
    if (cli::inColour(cli::Colour::NAME, "", descriptor).empty()) return Depth::None;
    const char* const term = getenv("COLORTERM");
    const std::string_view colours = term == nullptr ? "" : term;
    return colours == "truecolor" || colours == "24bit" ? Depth::True : Depth::Palette;
}

std::string describeUpgrade(const Json& upgrade) {
    if (upgrade.is_null()) return "none";
    const std::string version = upgrade.at("version");
    if (upgrade.at("phase") == "planned") return version + " is planned";
    return version + ", " + upgrade.at("percent").dump() + "% written";
}

std::string describeFaults(const Json& met) {
    std::string text;
    for (const Json& fault : met) {
        text += (text.empty() ? "" : "; ") + fault.at("fault").get<std::string>() + " (met " +
                fault.at("met").dump() + ")";
    }
    return text.empty() ? "none" : text;
}

std::vector<std::string> describe(const Json& state) {
    const bool isAttached = state.at("attached").get<bool>();
    return {std::string("cover: ") + (isAttached ? "attached" : "detached") + ", firmware " +
                    state.at("cover").at("version").get<std::string>() + ", loader " +
                    control::showLoader(state.at("loader")),
            "screen: " + cover::toText(control::screenOf(state.at("screen"))),
            "sub display: " + control::showSubDisplay(state.at("sub_display")),
            "upgrade: " + describeUpgrade(state.at("upgrade")),
            "faults: " + describeFaults(state.at("faults_met"))};
}

struct Extent {
    double width = 0;
    double height = 0;
};

// Of an SVG path of absolute commands M, L, H and V, in pixels of the cover's screen.
Extent extentOf(const std::string& path) {
    std::pair<double, double> x;
    std::pair<double, double> y;
    const auto take = [](const char*& at, std::pair<double, double>& range) {
        char* end = nullptr;
        const double value = std::clamp(strtod(at, &end), -10'000.0, 10'000.0);
        range = {std::min(range.first, value), std::max(range.second, value)};
        at = end;
        at += strspn(at, " ,");
    };
    for (const char* at = path.c_str(); *at != '\0';) {
        const char command = *at++;
        if (strchr("MLH", command) != nullptr) take(at, x);
        if (strchr("MLV", command) != nullptr) take(at, y);
    }
    return {x.second - x.first, y.second - y.first};
}

// A frame, in it the screen, and at the middle of its top what is cut out of it.
void drawCover(Canvas& canvas, size_t width, const Json& state) {
    const bool isAttached = state.at("attached").get<bool>();
    canvas.fill(0, 0, width, canvas.height(), isAttached ? kBody : kRim);
    if (width <= 2 || canvas.height() <= 2) return;
    const size_t glass = width - 2;
    canvas.fill(1, 1, glass, canvas.height() - 2,
                cover::colourOf(control::screenOf(state.at("screen"))));
    const Extent cutout = extentOf(state.at("cutout").get<std::string>());
    const double scale = static_cast<double>(glass) / kScreenWidth;
    const auto columns = std::min(glass, static_cast<size_t>(std::ceil(cutout.width * scale)));
    const auto rows = static_cast<size_t>(std::ceil(cutout.height * scale));
    canvas.fill(1 + (glass - columns) / 2, 1, columns, std::min(rows, canvas.height() - 2), {});
}

// The mean level of the picture's pixels that a pixel of the canvas stands for.
uint8_t levelAt(const cover::Picture& picture, size_t x, size_t y, size_t width, size_t height) {
    const size_t left = x * picture.width / width;
    const size_t right = std::max(left + 1, (x + 1) * picture.width / width);
    const size_t top = y * picture.height / height;
    const size_t bottom = std::max(top + 1, (y + 1) * picture.height / height);
    size_t sum = 0;
    size_t count = 0;
    for (size_t row = top; row < bottom; ++row) {
        for (size_t column = left; column < right; ++column) {
            sum += picture.levels[row * picture.width + column];
            ++count;
        }
    }
    constexpr size_t kStep = 255 / 15;
    return count == 0 ? 0 : static_cast<uint8_t>(sum * kStep / count);
}

// In the room from column `left` on, no larger than it is. A frame of one pixel is around it.
void drawSubDisplay(Canvas& canvas, size_t left, const cover::Picture& picture) {
    if (left + 3 > canvas.width() || canvas.height() < 3 || picture.levels.empty()) return;
    const size_t roomX = canvas.width() - left - 2;
    const size_t roomY = canvas.height() - 2;
    size_t width = std::min<size_t>(roomX, picture.width);
    size_t height = std::max<size_t>(1, width * picture.height / picture.width);
    if (height > roomY) {
        height = roomY;
        width = std::clamp<size_t>(height * picture.width / picture.height, 1, roomX);
    }
    canvas.fill(left, 0, width + 2, height + 2, kBody);
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            const uint8_t level = levelAt(picture, x, y, width, height);
            canvas.fill(left + 1 + x, 1 + y, 1, 1, {level, level, level});
        }
    }
}

// The picture, and the state below it, in at most so many columns and rows.
std::string draw(const Json& state, const cover::Picture& picture, const TerminalSize& size) {
    std::vector<std::string> texts = describe(state);
    const size_t rows = size.rows > texts.size() ? size.rows - texts.size() : 0;
    std::string text;
    if (2 * rows >= kLeastHeight) {
        Canvas canvas(size.columns, 2 * rows);
        const size_t width = std::clamp<size_t>(canvas.height() * kBodyWidth / kBodyHeight, 3,
                                                std::max<size_t>(3, size.columns / 3));
        drawCover(canvas, width, state);
        drawSubDisplay(canvas, width + kGap, picture);
        for (const std::string& line : canvas.lines(depthOf(STDOUT_FILENO))) text += line + "\n";
    }
    texts.resize(std::min(texts.size(), size.rows));
    for (const std::string& line : texts) text += line.substr(0, size.columns) + "\n";
    return text;
}

// None after a failure.
std::optional<std::string> drawNow(Session& session, const TerminalSize& size) {
    const std::optional<Json> state = session.ask("GET", "/v1/state");
    if (!state) return std::nullopt;
    // There is none without a sub display, or for one that claims too many pixels.
    const std::optional<Json> snapshot = session.askIfAny("/v1/snapshot");
    if (!snapshot) return std::nullopt;
    return draw(*state, snapshot->is_null() ? cover::Picture() : readPicture(*snapshot), size);
}

// Makes the request that the watch had no answer to; the session tells why there is none.
bool askWhy(Session& session) {
    const Json values = {{"since", control::kMostNatural}, {"wait_ms", 1000}};
    return session.ask("GET", "/v1/journal", values).has_value();
}

// Until a signal, "q" or the emulator ends it.
void follow(Session& session) {
    TerminalScreen screen;
    session.setBeforeFailure([&screen] { screen.restore(); });
    auto watch = std::make_unique<ChangeWatch>(session.connect());
    for (;;) {
        const std::optional<std::string> picture = drawNow(session, terminalSize());
        if (!picture) break;
        screen.show(*picture);
        if (watch->hasEnded()) {
            if (!askWhy(session)) break;
            watch = std::make_unique<ChangeWatch>(session.connect());
        }
        if (!screen.wait(watch->fd())) break;
    }
    session.setBeforeFailure({});
}

}  // namespace

void showView(Session& session, const Json& given) {
    if (!given.contains("once") && isatty(STDOUT_FILENO) != 0) return follow(session);
    if (const auto picture = drawNow(session, terminalSize())) cli::printOrFail(*picture);
}

}  // namespace emulator
