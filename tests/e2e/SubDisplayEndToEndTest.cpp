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
    expectDone({"test-pattern"});
    const picture::Picture expected = pattern(snapshot().size);
    await([&] { return snapshot() == expected; });
}

TEST_F(SubDisplayEndToEndTest, GoesWithTheCover) {
    startPanel();
    ctl({"detach"});
    awaitState("UNINITIALIZED");
    EXPECT_EQ(sub({"test-pattern"}).status, 1);
    ctl({"attach"});
    awaitState("ON");
    expectDone({"test-pattern"});
}

}  // namespace
}  // namespace e2e
