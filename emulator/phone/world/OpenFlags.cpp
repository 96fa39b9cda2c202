#include "emulator/phone/world/OpenFlags.h"

#include <utility>

#include <fcntl.h>

namespace phone {

std::string nameOpenFlags(int flags) {
    static constexpr std::pair<int, const char*> kFlags[] = {
            {O_CREAT, "O_CREAT"},         {O_EXCL, "O_EXCL"},     {O_NOCTTY, "O_NOCTTY"},
            {O_TRUNC, "O_TRUNC"},         {O_APPEND, "O_APPEND"}, {O_NONBLOCK, "O_NONBLOCK"},
            {O_DIRECTORY, "O_DIRECTORY"}, {O_PATH, "O_PATH"},     {O_CLOEXEC, "O_CLOEXEC"},
    };
    const int mode = flags & O_ACCMODE;
    std::string names = mode == O_WRONLY ? "O_WRONLY" : mode == O_RDWR ? "O_RDWR" : "O_RDONLY";
    for (const auto& [flag, text] : kFlags) {
        if ((flags & flag) == flag) names += std::string("|") + text;
    }
    return names;
}

}  // namespace phone
