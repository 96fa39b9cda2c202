#include "display/UpdateStateCommand.h"

#include <cstdint>
#include <sstream>

#include <hidl/HidlSupport.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

size_t countWords(const std::string& text) {
    std::istringstream stream(text);
    size_t count = 0;
    for (std::string word; stream >> word;) ++count;
    return count;
}

}  // namespace

std::string makeUpdateStateCommand(const std::string& text) {
    ::android::hardware::hidl_vec<int32_t> values;
    values.resize(countWords(text));
    std::istringstream stream(text);
    size_t count = 0;
    while (count < values.size() && stream >> values[count]) ++count;

    std::string command = "AT%TCHUPDATE=UPDATE_STATE";
    for (size_t i = 0; i < count; ++i) command += "," + std::to_string(values[i]);
    return command + "\r";
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
