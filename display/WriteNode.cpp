#include "kernel/Bivista.h"
#include "kernel/KernelNode.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

bool writeNode(const std::string& path, const std::string& value) {
    LOG_ERROR("Writing %s to %s", value.c_str(), path.c_str());
    return writeWhole(path, value);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
