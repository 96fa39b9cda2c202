// Attachments and commands by the thousand leave the service where it was. SOAK_CYCLES sets how
// many attachments; ten times as many commands are sent.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/e2e/Programs.h"

namespace e2e {
namespace {

struct Footprint {
    ptrdiff_t descriptors = 0;
    ptrdiff_t threads = 0;
    long kib = 0;  // resident memory
};

ptrdiff_t entries(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

Footprint footprint(pid_t pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    Footprint result;
    result.descriptors = entries(process + "/fd");
    result.threads = entries(process + "/task");
    std::ifstream status(process + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") status >> result.kib;
    }
    return result;
}

int cycles() {
    const char* text = std::getenv("SOAK_CYCLES");
    return text != nullptr ? std::atoi(text) : 40;
}

class SoakTest : public ProgramsTest {
  protected:
    // Off, on, and ten commands in one client each.
    void cycle() {
        ctl({"detach"});
        awaitNoCover();
        ctl({"attach"});
        awaitCover();
        for (int i = 0; i < 10; ++i) {
            ASSERT_EQ(call({"sendAtCommand", "AT%SWV", "null"}).status, 0);
        }
    }
};

TEST_F(SoakTest, LeavesDescriptorsThreadsAndMemoryWhereTheyWere) {
    startPhone();
    // The first cycles fill caches: allocator arenas, lazily made threads.
    for (int i = 0; i < 10; ++i) cycle();
    const Footprint before = footprint(servicePid());
    for (int i = 0; i < cycles(); ++i) cycle();
    // Sessions of clients that have ended are cleaned up behind their last call.
    await([&] {
        const Footprint now = footprint(servicePid());
        return now.descriptors == before.descriptors && now.threads == before.threads;
    });
    // A leak of one line buffer an exchange would show as 1 KiB each.
    EXPECT_LT(footprint(servicePid()).kib, before.kib + std::max(2048, cycles() * 2));
}

}  // namespace
}  // namespace e2e
