// The conformance suite of IBivista, for every instance that is served.
#include <gtest/gtest.h>

#include "Options.h"

namespace {

constexpr int kUsageStatus = 2;

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!bivista_vts::parseOptions(argc, argv)) return kUsageStatus;
    return RUN_ALL_TESTS();
}
