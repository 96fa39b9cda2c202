// ctl: what the cover is like.

#include <array>
#include <iterator>

#include <nlohmann/json.hpp>

#include "emulator/cover/Integers.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// A count, or "never".
std::string checkPolls(const std::string& text) {
    if (text == "never" || cover::parseInteger<int>(text) >= 0) return "";
    return "write a number from 0 up, or never";
}

struct TextOption {
    const char* option;
    const char* member;
    const char* help;
};

constexpr TextOption kTexts[] = {
        {"--firmware-version", "version", "Answer to AT%SWV"},
        {"--cutout", "cutout", "Answer to AT%GETBVCUTOUT"},
        {"--hot-plug-answer", "hot_plug_answer",
         "Answer to AT%HPD when the panel is up (at the start: On)"},
        {"--touch-version", "touch_version", "Answer to AT%TCHDEBUG=FWVER"},
};

struct NumberOption {
    const char* option;
    const char* member;
    int least;
    int most;
    const char* help;
};

constexpr int kDayMs = 24 * 60 * 60 * 1000;

constexpr NumberOption kNumbers[] = {
        {"--touch-rows", "touch_rows", 1, 1000, "Lines of a raw or delta frame (24)"},
        {"--touch-columns", "touch_columns", 1, 1000, "Values a line, five characters each (32)"},
        {"--self-test-report-bytes", "self_test_report_bytes", 0, 1 << 20,
         "AT%TCHNOTIFY=PULL_SD_RESULT is filled up to so many (0)"},
        {"--touch-upgrade-ms", "touch_upgrade_ms", 0, kDayMs,
         "Until AT%TCHNOTIFY=FW_UPGRADE is answered (300)"},
        {"--self-test-ms", "self_test_ms", 0, kDayMs, "Until a self test is answered (200)"},
        {"--upgrade-delay-ms", "upgrade_delay_ms", 0, kDayMs,
         "From the start of a firmware upgrade to the loader (500)"},
        {"--upgrade-ms", "upgrade_ms", 0, kDayMs, "How long the loader writes firmware (2000)"},
};

struct Options {
    std::array<std::optional<std::string>, std::size(kTexts)> texts;
    std::array<std::optional<int>, std::size(kNumbers)> numbers;
    std::optional<std::string> polls;
};

// Options become members of the request's body when they are given.
Json toBody(const Options& options) {
    Json body = Json::object();
    for (size_t i = 0; i < std::size(kTexts); ++i) {
        if (options.texts[i]) body[kTexts[i].member] = *options.texts[i];
    }
    for (size_t i = 0; i < std::size(kNumbers); ++i) {
        if (options.numbers[i]) body[kNumbers[i].member] = *options.numbers[i];
    }
    if (options.polls == "never") {
        body["hot_plug_polls"] = "never";
    } else if (options.polls) {
        body["hot_plug_polls"] = *cover::parseInteger<int>(*options.polls);
    }
    return body;
}

}  // namespace

void addCover(cli::Command& ctl) {
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            add(ctl, "cover", "Change what the cover is like",
                [options](Session& session) { session.put("/v1/cover", toBody(*options)); });
    for (size_t i = 0; i < std::size(kTexts); ++i) {
        command.take(kTexts[i].option, &options->texts[i], kTexts[i].help);
    }
    for (size_t i = 0; i < std::size(kNumbers); ++i) {
        const NumberOption& number = kNumbers[i];
        command.take(number.option, &options->numbers[i], number.help)
                .range(number.least, number.most);
    }
    command.take("--hot-plug-polls", &options->polls,
                 "\"Off\" answers before the panel is up, or never")
            .check(checkPolls, "N|never");
}

}  // namespace emulator
