#pragma once

#include <string>
#include <vector>

namespace doctor {

// How much a finding matters.
enum class Weight {
    FINE,
    NOTE,     // worth knowing; the cover works all the same
    PROBLEM,  // keeps the cover from working, or has done so
};

// What an examination shows.
struct Finding {
    Weight weight;
    // What was examined, in one word: "tty".
    std::string check;
    // What is the case, for people.
    std::string what;
    // What to do about it; empty when there is nothing to do.
    std::string remedy;
};

using Findings = std::vector<Finding>;

Finding fine(const std::string& check, const std::string& what);
Finding note(const std::string& check, const std::string& what, const std::string& remedy);
Finding problem(const std::string& check, const std::string& what, const std::string& remedy);

}  // namespace doctor
