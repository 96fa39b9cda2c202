// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Report.h"

namespace play {

namespace {

class TextReport : public Report {
  public:
    explicit TextReport(std::ostream& out) : mOut(out) {}
    void begin(size_t /*scenarios*/) override {}
    void add(const Result& result) override {
        mOut << (result.failure ? "FAILED " : "ok     ") << result.scenario->name << " ("
             << result.took.count() << " ms)\n";
        if (!result.failure) return;
        const Failure& failure = *result.failure;
        mOut << result.scenario->file.string() << ":" << failure.place.line << ":"
             << failure.place.column << ": " << failure.step << "\nexpected: " << failure.expected
             << "\ncame: " << failure.came << "\n"
             << failure.around;
    }
    void end() override {}

  private:
    std::ostream& mOut;
};

}  // namespace

std::unique_ptr<Report> makeReport(Format /*format*/, std::ostream& out) {
    return std::make_unique<TextReport>(out);
}

}  // namespace play
