#include "tools/doctor/Finding.h"

namespace doctor {

Finding fine(const std::string& check, const std::string& what) {
    return {Weight::FINE, check, what, ""};
}

Finding note(const std::string& check, const std::string& what, const std::string& remedy) {
    return {Weight::NOTE, check, what, remedy};
}

Finding problem(const std::string& check, const std::string& what, const std::string& remedy) {
    return {Weight::PROBLEM, check, what, remedy};
}

}  // namespace doctor
