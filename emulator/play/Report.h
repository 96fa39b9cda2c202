// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What became of scenarios, for people and for programs.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "emulator/play/Scenario.h"

namespace play {

// Texts may have several lines, and any bytes.
struct Failure {
    Place place;
    std::string step;      // as Step::text
    std::string expected;  // what was to be
    std::string came;      // what was instead
    std::string around;    // lines of the timeline; empty: none
};

struct Result {
    const Scenario* scenario = nullptr;
    std::optional<Failure> failure{};
    bool noService = false;  // it was not played, or not to its end; a failure may say why
    std::chrono::milliseconds took{};
};

class Report {
  public:
    virtual ~Report() = default;

    // Once, before the first result.
    virtual void begin(size_t scenarios) = 0;
    virtual void add(const Result& result) = 0;
    // Once, after the last result.
    virtual void end() = 0;
};

enum class Format {
    Text,   // for people: a line a scenario, more for one that failed
    Tap,    // TAP 14
    Junit,  // JUnit's XML, all of it at the end
};

// The stream must live as long as the report; whether it took all is for its owner to ask. Colours
// as cli/Colour.h has them for standard output.
std::unique_ptr<Report> makeReport(Format format, std::ostream& out);

}  // namespace play
