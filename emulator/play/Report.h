// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What is said about scenarios that were played.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "emulator/play/Scenario.h"

namespace play {

struct Failure {
    Place place;
    std::string step;
    std::string expected;
    std::string came;
    std::string around;  // lines of the timeline; "" for none
};

struct Result {
    const Scenario* scenario = nullptr;
    std::optional<Failure> failure;
    bool noService = false;
    std::chrono::milliseconds took{};
};

class Report {
  public:
    virtual ~Report() = default;
    virtual void begin(size_t scenarios) = 0;
    virtual void add(const Result& result) = 0;
    virtual void end() = 0;
};

enum class Format { Text, Tap, Junit };

std::unique_ptr<Report> makeReport(Format format, std::ostream& out);

}  // namespace play
