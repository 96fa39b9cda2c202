// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <map>
#include <sstream>

#include "emulator/play/ReportForms.h"

namespace play {

namespace {

std::string escaped(const std::string& text) {
    // A line feed of an attribute would become a blank.
    static const std::map<char, std::string> spelt = {
            {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\n', "&#10;"}};
    std::string xml;
    for (const char sign : printable(text)) {
        const auto found = spelt.find(sign);
        xml += found == spelt.end() ? std::string(1, sign) : found->second;
    }
    return xml;
}

class Junit : public Report {
  public:
    explicit Junit(std::ostream& out) : mOut(out) {}

    void begin(size_t /*scenarios*/) override {}

    void add(const Result& result) override {
        ++mCount;
        mTook += result.took;
        mCases << "  <testcase name=\"" << escaped(result.scenario->name) << "\" classname=\""
               << escaped(result.scenario->file.stem().string()) << "\" file=\""
               << escaped(result.scenario->file.string()) << "\" time=\"" << inSeconds(result.took)
               << "\"";
        if (!result.noService && !result.failure) {
            mCases << "/>\n";
            return;
        }
        ++(result.noService ? mErrors : mFailures);
        const char* const element = result.noService ? "error" : "failure";
        mCases << ">\n    <" << element << " message=\""
               << (result.noService ? "no service" : escaped(result.failure->step)) << "\">"
               << (result.failure ? escaped(explain(result)) : "") << "</" << element
               << ">\n  </testcase>\n";
    }

    // The counts stand first.
    void end() override {
        mOut << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
             << "<testsuite name=\"scenarios\" tests=\"" << mCount << "\" failures=\"" << mFailures
             << "\" errors=\"" << mErrors << "\" skipped=\"0\" time=\"" << inSeconds(mTook)
             << "\">\n"
             << mCases.str() << "</testsuite>\n"
             << std::flush;
    }

  private:
    static std::string explain(const Result& result) {
        const Failure& failure = *result.failure;
        std::string text = placeOf(result) + "\nstep: " + failure.step +
                           "\nexpected: " + failure.expected + "\ncame: " + failure.came + "\n";
        if (!failure.around.empty()) text += "around:\n" + failure.around;
        return text;
    }

    std::ostream& mOut;
    std::ostringstream mCases;
    size_t mCount = 0;
    size_t mFailures = 0;
    size_t mErrors = 0;
    std::chrono::milliseconds mTook{};
};

}  // namespace

std::unique_ptr<Report> reportAsJunit(std::ostream& out) {
    return std::make_unique<Junit>(out);
}

}  // namespace play
