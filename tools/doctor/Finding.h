#pragma once

#include <string>
#include <vector>

namespace doctor {

// What an examination shows.
struct Finding {
    bool ok;
    // What was examined, in one word: "tty".
    std::string check;
    // What is the case, for people.
    std::string what;
    // What to do about a problem; empty when there is none.
    std::string remedy;
};

using Findings = std::vector<Finding>;

Finding fine(const std::string& check, const std::string& what);
Finding problem(const std::string& check, const std::string& what, const std::string& remedy);

}  // namespace doctor
