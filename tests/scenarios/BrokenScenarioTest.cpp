// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A scenario that does not hold says so, and why: a tester without the log knows what to look at.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"
#include "tests/scenarios/BrokenScenarios.h"

namespace scenarios {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

std::string read(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What does not come is waited for two seconds instead of ten.
void shortenWait(std::string& scenario, size_t broken) {
    const std::string begin = "\n  - ";
    const size_t step = scenario.rfind(begin, broken) + begin.size();
    if (scenario.compare(step, 6, "expect") == 0 || scenario.compare(step, 4, "wait") == 0) {
        scenario.insert(step, "within: 2s\n    ");
    }
}

std::string breakOne(const Broken& broken) {
    const std::string name = std::string(broken.name) + ".yaml";
    std::string scenario = read(fs::path(BIVISTA_SCENARIOS) / name);
    const size_t at = scenario.find(broken.text);
    EXPECT_NE(at, std::string::npos) << name << " has no " << broken.text;
    if (at == std::string::npos) return scenario;
    EXPECT_EQ(scenario.find(broken.text, at + 1), std::string::npos) << broken.text;
    scenario.replace(at, strlen(broken.text), broken.replacement);
    shortenWait(scenario, at);
    return scenario;
}

// What stands in the output after "NAME:", up to the next name.
std::string part(const std::string& output, const std::string& name) {
    const size_t begin = output.find("\n  " + name + ":");
    if (begin == std::string::npos) return "";
    size_t end = begin + 1;
    do {
        end = output.find("\n  ", end + 1);
    } while (end != std::string::npos && output[end + 3] == ' ');
    return output.substr(begin, end == std::string::npos ? end : end - begin);
}

class BrokenScenarioTest : public e2e::ProgramsTest, public testing::WithParamInterface<Broken> {};

TEST_P(BrokenScenarioTest, FailsAndSaysWhy) {
    const Broken& broken = GetParam();
    for (const auto& file : fs::directory_iterator(BIVISTA_SCENARIOS)) {
        if (file.path().extension() == ".png") fs::copy(file, folder);
    }
    const std::string path = folder + "/" + broken.name + ".yaml";
    std::ofstream(path) << breakOne(broken);
    const e2e::Outcome outcome = run({e2e::bin("bivista-emulator"), "play", path});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_THAT(part(outcome.out, "expected"), HasSubstr(broken.expected)) << outcome.out;
    EXPECT_THAT(part(outcome.out, "came"), HasSubstr(broken.came)) << outcome.out;
    EXPECT_THAT(part(outcome.out, "around"), HasSubstr(broken.around)) << outcome.out;
}

std::string nameOf(const testing::TestParamInfo<Broken>& info) {
    std::string name = info.param.name;
    std::ranges::replace(name, '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenario, BrokenScenarioTest,
                         testing::ValuesIn(brokenScenarios().begin(), brokenScenarios().end()),
                         nameOf);

std::set<std::string> allScenarios() {
    std::set<std::string> all;
    for (const auto& file : fs::directory_iterator(BIVISTA_SCENARIOS)) {
        if (file.path().extension() == ".yaml") all.insert(file.path().stem());
    }
    return all;
}

TEST(BrokenScenariosTest, HaveOneOfEachScenario) {
    std::set<std::string> broken;
    for (const Broken& each : brokenScenarios()) broken.insert(each.name);
    EXPECT_EQ(broken, allScenarios());
}

TEST(ScenariosTest, AreAllInTheGuide) {
    const std::string guide = read(fs::path(BIVISTA_SCENARIOS) / "../docs/scenarios.md");
    for (const std::string& name : allScenarios()) EXPECT_THAT(guide, HasSubstr("`" + name + "`"));
}

}  // namespace
}  // namespace scenarios
