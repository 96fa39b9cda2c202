// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files of a kept corpus, once each, without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), {});
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    // An empty corpus proves nothing.
    return replayed > 0 ? 0 : 1;
}
