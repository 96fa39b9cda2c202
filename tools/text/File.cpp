#include "tools/text/File.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "tools/text/Arguments.h"

namespace bivistactl {

std::string readFile(const std::string& path, size_t limit) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        throw BadArgument("\"" + path + "\" is a folder, not a file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw BadArgument("\"" + path + "\" cannot be opened: " + strerror(errno));
    std::string bytes;
    char buffer[1 << 16];
    while (bytes.size() <= limit) {
        file.read(buffer, std::min(sizeof(buffer), limit + 1 - bytes.size()));
        if (file.bad()) throw BadArgument("\"" + path + "\" cannot be read: " + strerror(errno));
        if (file.gcount() == 0) break;
        bytes.append(buffer, static_cast<size_t>(file.gcount()));
    }
    return bytes;
}

}  // namespace bivistactl
