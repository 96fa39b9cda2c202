// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The four questions of docs/troubleshooting.md: each scenario is played, a report is made at its
// end, the phone and its service are gone, and the report alone leads to the answer.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

using testing::HasSubstr;
using testing::Not;

class ReportEndToEndTest : public ProgramsTest {
  protected:
    // A copy that puts the cover on itself: of a phone that runs already, a scenario sees only what
    // comes from then on.
    std::string playable(const std::string& scenario) const {
        constexpr std::string_view kSteps = "\nsteps:\n";
        for (const auto& file : std::filesystem::directory_iterator(BIVISTA_SCENARIOS)) {
            if (file.path().extension() != ".png") continue;
            std::filesystem::copy_file(file, folder + "/" + file.path().filename().string());
        }
        std::stringstream text;
        text << std::ifstream(BIVISTA_SCENARIOS "/" + scenario + ".yaml").rdbuf();
        std::string steps = text.str();
        steps.insert(steps.find(kSteps) + kSteps.size(),
                     "  - do: attach\n  - wait: [attached, {sub: ON}]\n");
        const std::string path = folder + "/" + scenario + ".yaml";
        std::ofstream(path) << steps;
        return path;
    }
    // What the doctor prints of the report that was made after this scenario.
    std::string explain(const std::string& scenario, const std::vector<std::string>& options = {}) {
        startPhone({"--no-cover"});
        const std::string log = "/proc/" + std::to_string(phone->pid()) + "/fd/2";
        const Outcome played = run(
                {bin("bivista-emulator"), "play", "--running", "--log", log, playable(scenario)});
        EXPECT_EQ(played.status, 0) << played.out << played.err;
        std::vector<std::string> words = {bin("bivistactl"), "report", report};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome made = run(words);
        EXPECT_EQ(made.status, 0) << made.err;
        phone.reset();
        return run({bin("bivistactl"), "doctor", report}).out;
    }

    const std::string report = folder + "/report.tar.gz";
};

TEST_F(ReportEndToEndTest, TellsWhyTheBrightnessDidNotChange) {
    const std::string told = explain("refused-brightness");
    EXPECT_THAT(told, HasSubstr("\nproblem  brightness: the cover refused 1 level\n"));
    EXPECT_THAT(told, HasSubstr("  setting brightness 200 (and 1 before it)\n"));
    EXPECT_THAT(told, HasSubstr("  failure AT%DB: Command not supported\n"));
}

TEST_F(ReportEndToEndTest, TellsWhyTheScreenIsDark) {
    const std::string told = explain("screen-never-up");
    EXPECT_THAT(told, HasSubstr("\nproblem  screen: the cover took the command, and its screen did "
                                "not come up within ten polls\n"));
    EXPECT_THAT(told, HasSubstr("  failure setPowerStatus: HPD Status failed\n"));
    EXPECT_THAT(told, HasSubstr("setPowerStatus: HPD Status failed Status:Off, trial:10"));
}

TEST_F(ReportEndToEndTest, TellsWhyThereIsNoEvent) {
    const std::string told = explain("nobody-listens");
    EXPECT_THAT(told, HasSubstr("\nnote     events: no client has registered an LPWG callback: "));
    EXPECT_THAT(told, HasSubstr("         | dump: callbacks.lpwg is null\n"));
}

TEST_F(ReportEndToEndTest, TellsWhyThereIsNoPicture) {
    const std::string told = explain("hostile-panel");
    EXPECT_THAT(told, HasSubstr("\nproblem  picture: the service gave up a frame, since the panel "
                                "refused its data\n"));
    EXPECT_THAT(told, HasSubstr("  frameDropped: Input/output error"));
    EXPECT_THAT(told, HasSubstr("Could not send palette data."));
}

TEST_F(ReportEndToEndTest, ARedactedOneLeadsToTheAnswerToo) {
    const std::string told = explain("refused-brightness", {"--redact"});
    EXPECT_THAT(told, HasSubstr("\nproblem  brightness: the cover refused 1 level\n"));
    EXPECT_THAT(told, HasSubstr("note     missing: service.log: left out by --redact\n"));
    const Outcome plain = run({"sh", "-c", "gzip -dc \"$0\"", report});
    EXPECT_THAT(plain.out, HasSubstr(R"("kind":"tty-rx","path":"/dev/ttyACM0")"));
    // Of the commands and answers, of the picture, of the folders of this machine.
    for (const std::string& text : {std::string("AT%DB=200"), std::string("ERROR"), folder}) {
        EXPECT_THAT(plain.out, Not(HasSubstr(text)));
    }
}

// The commands of the document, with a phone's shell that leads to this service.
TEST_F(ReportEndToEndTest, WhatAdbGathersIsAReportToo) {
    std::stringstream text;
    text << std::ifstream(BIVISTA_SOURCE_DIR "/docs/troubleshooting.md").rdbuf();
    const std::string guide = text.str();
    const size_t begin = guide.find("(d=$(mktemp -d)");
    ASSERT_NE(begin, std::string::npos);
    const std::string commands = guide.substr(begin, guide.find("```", begin) - begin);
    std::ofstream(folder + "/adb") << "#!/bin/sh\ncase \"$*\" in *lshal*) shift 4; exec " +
                                              bin("bivistactl") +
                                              " dump \"$@\" ;; *) echo \"$*\" ;; esac\n";
    std::filesystem::permissions(folder + "/adb", std::filesystem::perms::owner_all);
    startPhone();
    const Outcome made = run({"sh", "-c", "cd \"$0\"; PATH=$0:$PATH\n" + commands, folder});
    EXPECT_EQ(made.status, 0) << made.err;
    const Outcome told = run({bin("bivistactl"), "doctor", folder + "/bivista-report.tar.gz"});
    EXPECT_THAT(told.out, HasSubstr("ok       report: made by adb; the service is "));
    EXPECT_THAT(told.out, HasSubstr("\nnote     events: no client has registered an LPWG"));
}

}  // namespace
}  // namespace e2e
