#include "tools/doctor/Finding.h"

namespace doctor {

Finding fine(const std::string& check, const std::string& what) {
    return {true, check, what, ""};
}

Finding problem(const std::string& check, const std::string& what, const std::string& remedy) {
    return {false, check, what, remedy};
}

}  // namespace doctor
