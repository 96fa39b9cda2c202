#include "tools/commands/SubDisplay.h"

#include <nlohmann/json.hpp>

namespace bivistactl {

std::string stateInWords(const Json& state) {
    const Json& name = state["state"];
    return name.is_string() ? name.get<std::string>() : "state " + state["code"].dump();
}

std::string panelInWords(const Json& info) {
    return info["x"].dump() + " x " + info["y"].dump() + ", format " + info["format"].dump();
}

}  // namespace bivistactl
