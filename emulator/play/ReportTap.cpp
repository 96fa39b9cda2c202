// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/ReportForms.h"

namespace play {

namespace {

// A text of JSON is one of YAML, too.
std::string quoted(const std::string& text) {
    return Json(printable(text)).dump();
}

// In a description a number sign would begin a directive.
std::string escaped(const std::string& name) {
    std::string text;
    for (const char sign : printable(name)) {
        if (sign == '#' || sign == '\\') text += '\\';
        text += sign;
    }
    return text;
}

class Tap : public Report {
  public:
    explicit Tap(std::ostream& out) : mOut(out) {}

    void begin(size_t scenarios) override {
        mOut << "TAP version 14\n1.." << scenarios << "\n" << std::flush;
    }

    void add(const Result& result) override {
        const bool isRight = !result.noService && !result.failure;
        mOut << (isRight ? "ok " : "not ok ") << ++mCount << " - " << escaped(result.scenario->name)
             << "\n";
        mOut << "  ---\n";
        if (result.noService) mOut << "  message: \"no service\"\n";
        mOut << "  duration_ms: " << result.took.count() << "\n";
        if (result.failure) explain(result);
        mOut << "  ...\n" << std::flush;
    }

    void end() override {}

  private:
    void explain(const Result& result) {
        const Failure& failure = *result.failure;
        mOut << "  at: " << quoted(placeOf(result)) << "\n"
             << "  step: " << quoted(failure.step) << "\n"
             << "  expected: " << quoted(failure.expected) << "\n"
             << "  came: " << quoted(failure.came) << "\n";
        if (failure.around.empty()) return;
        mOut << "  around:\n";
        for (const std::string& line : linesOf(failure.around)) {
            mOut << "    - " << quoted(line) << "\n";
        }
    }

    std::ostream& mOut;
    size_t mCount = 0;
};

}  // namespace

std::unique_ptr<Report> reportAsTap(std::ostream& out) {
    return std::make_unique<Tap>(out);
}

}  // namespace play
