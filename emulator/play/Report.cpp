// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Report.h"

#include <sstream>

#include "emulator/cover/Text.h"
#include "emulator/play/ReportForms.h"

namespace play {

namespace {

// Two characters that UTF-8 can hold, and XML cannot.
void replaceNoCharacters(std::string& text) {
    for (const char* const none : {"\xef\xbf\xbe", "\xef\xbf\xbf"}) {
        for (size_t at = 0; (at = text.find(none, at)) != std::string::npos;) {
            text.replace(at, 3, "\xef\xbf\xbd");
        }
    }
}

}  // namespace

std::string printable(const std::string& text) {
    // To JSON and back, for the library replaces what is no UTF-8.
    std::string repaired =
            Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
    replaceNoCharacters(repaired);
    std::string printed;
    for (const char sign : repaired) {
        const auto byte = static_cast<uint8_t>(sign);
        const bool isControl = (byte < 0x20 && sign != '\n') || byte == 0x7f;
        printed += isControl ? cover::escape({&sign, 1}) : std::string(1, sign);
    }
    return printed;
}

std::string inSeconds(std::chrono::milliseconds time) {
    const std::string digits = std::to_string(1000 + time.count() % 1000);
    return std::to_string(time.count() / 1000) + "." + digits.substr(1);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string placeOf(const Result& result) {
    const Place& place = result.failure->place;
    return result.scenario->file.string() + ":" + std::to_string(place.line) + ":" +
           std::to_string(place.column);
}

std::unique_ptr<Report> makeReport(Format format, std::ostream& out) {
    if (format == Format::Tap) return reportAsTap(out);
    return format == Format::Junit ? reportAsJunit(out) : reportAsText(out);
}

}  // namespace play
