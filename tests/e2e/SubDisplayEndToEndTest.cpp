// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display, from pictures that a person shows to what the panel shows.
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"
#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"
#include "tools/picture/TestPattern.h"

namespace e2e {
namespace {

using testing::HasSubstr;

class SubDisplayEndToEndTest : public ProgramsTest {
  protected:
    void startPanel() {
        startPhone();
        awaitState("ON");
    }
    // Another panel, with this record.
    void changePanel(const std::vector<std::string>& options) {
        ctl({"detach"});
        awaitState("UNINITIALIZED");
        std::vector<std::string> command = {"subdisplay"};
        command.insert(command.end(), options.begin(), options.end());
        ctl(command);
        ctl({"attach"});
    }
    // Draws the test pattern, which the panel shows in the end.
    void expectPatternShown() const {
        expectDone({"test-pattern"});
        const picture::Picture expected = pattern(snapshot().size);
        await([&] { return snapshot() == expected; });
    }

    Outcome sub(std::vector<std::string> words) const {
        words.insert(words.begin(), {bin("bivistactl"), "sub"});
        return run(words);
    }

    void expectDone(const std::vector<std::string>& words) const {
        const Outcome outcome = sub(words);
        EXPECT_EQ(outcome.status, 0) << words.front() << ": " << outcome.err;
    }

    void awaitState(const std::string& state) const {
        await([&] {
            return call({"getSubDisplayPowerState"}).out.find("\"" + state + "\"") !=
                   std::string::npos;
        });
    }

    std::string snapshotFile() const {
        ctl({"snapshot", folder + "/panel.png"});
        return folder + "/panel.png";
    }
    picture::Picture snapshot() const {
        std::ifstream file(snapshotFile(), std::ios::binary);
        return picture::decodePng(std::string(std::istreambuf_iterator<char>(file), {}));
    }

    // The test pattern in the greys that the panel has.
    static picture::Picture pattern(picture::Size size) {
        picture::Picture shown = picture::testPattern(size);
        const std::vector<uint8_t> levels = picture::roundToLevels(shown);
        for (size_t i = 0; i < levels.size(); ++i) shown.pixels[i] = picture::greyOf(levels[i]);
        return shown;
    }
};

TEST_F(SubDisplayEndToEndTest, ShowsAPicturePixelForPixelAndUpright) {
    startPanel();
    expectDone({"test-pattern"});
    const picture::Picture expected = pattern(snapshot().size);
    await([&] { return snapshot() == expected; });

    // What the panel shows is a picture that it can be shown.
    const std::string file = snapshotFile();
    const std::string kept = folder + "/kept.png";
    ASSERT_EQ(rename(file.c_str(), kept.c_str()), 0);
    expectDone({"clear"});
    await([&] { return snapshot() == picture::black(expected.size); });
    expectDone({"show", kept});
    await([&] { return snapshot() == expected; });
}

TEST_F(SubDisplayEndToEndTest, GoesOffAndOn) {
    startPanel();
    expectDone({"off"});
    awaitState("OFF");
    const Outcome drawing = sub({"test-pattern"});
    EXPECT_EQ(drawing.status, 1);
    EXPECT_THAT(log(), HasSubstr("Sub Panel is not ready state(2). Could not request to draw."));
    expectDone({"on"});
    awaitState("ON");
    expectPatternShown();
}

TEST_F(SubDisplayEndToEndTest, GoesWithTheCover) {
    startPanel();
    ctl({"detach"});
    awaitState("UNINITIALIZED");
    EXPECT_EQ(sub({"test-pattern"}).status, 1);
    ctl({"attach"});
    awaitState("ON");
    expectPatternShown();
}

TEST_F(SubDisplayEndToEndTest, ShowsPicturesOfThePanelsProportions) {
    startPanel();
    changePanel({"--width", "96", "--height", "40"});
    awaitState("ON");
    EXPECT_EQ(snapshot().size, (picture::Size{96, 40}));
    expectPatternShown();
}

TEST_F(SubDisplayEndToEndTest, ASlowPanelShowsAFrameInTheEnd) {
    startPanel();
    ctl({"fault", "hid write late 50ms"});
    expectPatternShown();
}

// Of 50 ms each, as a kernel's.
TEST_F(SubDisplayEndToEndTest, AFrameTakesTheTimeOfTwoOpens) {
    startPanel();
    expectPatternShown();
    const std::string done = "HID-DISPLAY: write Palette done ";
    awaitLog(done);
    EXPECT_GE(std::stof(log().substr(log().find(done) + done.size())), 100);
}

TEST_F(SubDisplayEndToEndTest, SizesThatCannotBeHarmNothing) {
    startPanel();
    const std::string frame = folder + "/frame";
    for (const char* size : {"0", "3", "255", "65535"}) {
        changePanel({"--width", size, "--height", size});
        awaitState("ON");
        for (const size_t words : {0, 1, 9, 65025, 65536}) {
            std::ofstream(frame, std::ios::binary) << std::string(4 * words, '\xa5');
            call({"drawSubDisplay", "@" + frame});
        }
        EXPECT_NE(sub({"test-pattern"}).status, 3) << size;
        EXPECT_EQ(call({"getBV2Connect"}).status, 0) << size;
    }
    changePanel({"--width", "128", "--height", "128"});
    awaitState("ON");
    expectPatternShown();
}

TEST_F(SubDisplayEndToEndTest, GoesInTheMiddleOfAFrameAndTellsItsClient) {
    startPanel();
    Process watch({bin("bivistactl"), "watch", "sub"});
    await([&] { return watch.err().find("watching") != std::string::npos; });
    ctl({"fault", "hid write unplug after 1 times 1"});
    expectDone({"test-pattern"});
    awaitState("UNINITIALIZED");
    awaitLog(
            "hidDisplayPalette: failed to write palette: "
            "Cannot send after transport endpoint shutdown");
    ctl({"attach"});
    awaitState("ON");
    expectPatternShown();
    await([&] { return count(watch.out(), R"("ON")") == 1; });
    EXPECT_EQ(watch.out(),
              "{\"event\":\"sub\",\"state\":\"UNINITIALIZED\",\"code\":0}\n"
              "{\"event\":\"sub\",\"state\":\"INITIALIZED\",\"code\":1}\n"
              "{\"event\":\"sub\",\"state\":\"ON\",\"code\":3}\n");
}

}  // namespace
}  // namespace e2e
