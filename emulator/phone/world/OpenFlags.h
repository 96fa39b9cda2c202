// Flags of open() as text.
#pragma once

#include <string>

namespace phone {

// As in a program: "O_WRONLY|O_CREAT|O_TRUNC".
std::string nameOpenFlags(int flags);

}  // namespace phone
