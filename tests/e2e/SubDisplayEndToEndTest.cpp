// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The sub display with panels of any size, and its snapshots.
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tests/e2e/Programs.h"
#include "tools/picture/Levels.h"
#include "tools/picture/Png.h"
#include "tools/picture/TestPattern.h"

namespace e2e {
namespace {

class SubDisplayEndToEndTest : public ProgramsTest {
  protected:
    // Another panel, with this record.
    void changePanel(const std::vector<std::string>& options) {
        ctl({"detach"});
        awaitState("UNINITIALIZED");
        std::vector<std::string> command = {"subdisplay"};
        command.insert(command.end(), options.begin(), options.end());
        ctl(command);
        ctl({"attach"});
    }
    int sub(std::vector<std::string> words) const {
        words.insert(words.begin(), {bin("bivistactl"), "sub"});
        return run(words).status;
    }

    void awaitState(const std::string& state) const {
        await([&] {
            return call({"getSubDisplayPowerState"}).out.find("\"" + state + "\"") !=
                   std::string::npos;
        });
    }

    picture::Picture snapshot() const {
        const std::string path = folder + "/panel.png";
        ctl({"snapshot", path});
        std::ifstream file(path, std::ios::binary);
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

// What the panel shows is a picture that it can be shown.
TEST_F(SubDisplayEndToEndTest, ShowsItsSnapshotAgain) {
    startPhone();
    awaitState("ON");
    EXPECT_EQ(sub({"test-pattern"}), 0);
    const picture::Picture expected = pattern(snapshot().size);
    await([&] { return snapshot() == expected; });
    const std::string kept = folder + "/kept.png";
    ctl({"snapshot", kept});
    EXPECT_EQ(sub({"clear"}), 0);
    await([&] { return snapshot() == picture::black(expected.size); });
    EXPECT_EQ(sub({"show", kept}), 0);
    await([&] { return snapshot() == expected; });
}

TEST_F(SubDisplayEndToEndTest, SizesThatCannotBeHarmNothing) {
    startPhone();
    awaitState("ON");
    const std::string frame = folder + "/frame";
    for (const char* size : {"0", "3", "255", "65535"}) {
        changePanel({"--width", size, "--height", size});
        awaitState("ON");
        for (const size_t words : {0, 1, 9, 65025, 65536}) {
            std::ofstream(frame, std::ios::binary) << std::string(4 * words, '\xa5');
            call({"drawSubDisplay", "@" + frame});
        }
        EXPECT_NE(sub({"test-pattern"}), 3) << size;
        EXPECT_EQ(call({"getBV2Connect"}).status, 0) << size;
    }
    changePanel({"--width", "128", "--height", "128"});
    awaitState("ON");
    EXPECT_EQ(sub({"test-pattern"}), 0);
    const picture::Picture expected = pattern(snapshot().size);
    await([&] { return snapshot() == expected; });
}

}  // namespace
}  // namespace e2e
