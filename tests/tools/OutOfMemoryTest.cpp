#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/tools/Cli.h"

namespace fs = std::filesystem;

namespace {

// Less than the longest picture file, which is read as a whole.
constexpr char kLimited[] = R"(ulimit -v 64000 && exec "$@")";

class OutOfMemoryTest : public CliTest {
  protected:
    std::string givenLongFile() const {
        std::string path = mFolder + "/long.png";
        std::ofstream file(path);
        fs::resize_file(path, size_t{64} << 20);
        return path;
    }
};

}  // namespace

TEST_F(OutOfMemoryTest, IsTheSameWithoutThreads) {
    givenService();
    const std::string told = mFolder + "/told";
    Process process({WITHOUT_THREADS, BIVISTACTL, "power", "on"}, told);
    EXPECT_EQ("", process.rest());
    EXPECT_EQ(4, process.wait());
    std::ifstream file(told);
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(
            "bivistactl: this program failed, not the service: Cannot start the thread of the HIDL "
            "sockets: Resource temporarily unavailable. \"bivistactl status\" tells what was done "
            "until then.",
            line);
    EXPECT_FALSE(std::getline(file, line)) << line;
}

TEST_F(OutOfMemoryTest, IsToldAndEndsWithFour) {
    const std::string told = mFolder + "/told";
    Process process({"/bin/sh", "-c", kLimited, "sh", BIVISTACTL, "sub", "show", givenLongFile()},
                    told);
    EXPECT_EQ("", process.rest());
    EXPECT_EQ(4, process.wait());
    std::string line;
    std::getline(std::ifstream(told), line);
    EXPECT_EQ(
            "bivistactl: this program failed, not the service: std::bad_alloc. \"bivistactl "
            "status\" tells what was done until then.",
            line);
}
