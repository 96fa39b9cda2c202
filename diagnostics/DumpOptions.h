// What a client of the debug dump asks for.
#pragma once

#include <string>
#include <vector>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

struct DumpOptions {
    bool help = false;
    bool json = false;
    bool reset = false;
    // There is an option that does not exist: the first such. Then nothing else is done.
    bool isWrong = false;
    std::string wrong;
};

DumpOptions readDumpOptions(const std::vector<std::string>& options);

extern const char kDumpHelp[];

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
