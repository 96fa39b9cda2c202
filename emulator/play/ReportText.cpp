// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "cli/Colour.h"
#include "emulator/play/ReportForms.h"

namespace play {

namespace {

class Text : public Report {
  public:
    explicit Text(std::ostream& out) : mOut(out) {}

    void begin(size_t /*scenarios*/) override {}
    void add(const Result& result) override;
    void end() override;

  private:
    void explain(const Result& result);
    // A line for each line of the text, the first one after the name.
    void show(const std::string& name, const std::string& text);

    std::ostream& mOut;
    size_t mRight = 0;
    size_t mFailed = 0;
    size_t mNotServed = 0;
};

void Text::add(const Result& result) {
    const bool isRight = !result.noService && !result.failure;
    ++(result.noService ? mNotServed : result.failure ? mFailed : mRight);
    const char* const verdict = result.noService ? "no service" : isRight ? "ok" : "failed";
    mOut << cli::inColour(isRight ? cli::Colour::GOOD : cli::Colour::BAD, verdict, STDOUT_FILENO)
         << "  " << printable(result.scenario->name) << " (" << inSeconds(result.took) << " s)\n";
    if (result.failure) explain(result);
    // Each is seen when it is known.
    mOut.flush();
}

void Text::explain(const Result& result) {
    const Failure& failure = *result.failure;
    mOut << "  " << cli::inColour(cli::Colour::NAME, printable(placeOf(result)), STDOUT_FILENO)
         << "\n";
    show("  step:     ", failure.step);
    show("  expected: ", failure.expected);
    show("  came:     ", failure.came);
    if (failure.around.empty()) return;
    mOut << "  around:\n";
    for (const std::string& line : linesOf(printable(failure.around))) {
        mOut << "    " << line << "\n";
    }
}

void Text::show(const std::string& name, const std::string& text) {
    std::string before = name;
    for (const std::string& line : linesOf(printable(text))) {
        mOut << before << line << "\n";
        before.assign(name.size(), ' ');
    }
}

void Text::end() {
    const size_t all = mRight + mFailed + mNotServed;
    mOut << all << (all == 1 ? " scenario: " : " scenarios: ") << mRight << " ok, " << mFailed
         << " failed";
    if (mNotServed > 0) mOut << ", " << mNotServed << " without a service";
    mOut << "\n" << std::flush;
}

}  // namespace

std::unique_ptr<Report> reportAsText(std::ostream& out) {
    return std::make_unique<Text>(out);
}

}  // namespace play
