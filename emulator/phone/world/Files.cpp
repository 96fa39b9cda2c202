// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include "emulator/phone/Error.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

void writeWhole(int fd, std::string_view content, const fs::path& path) {
    if (pwrite(fd, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
        throwErrno("cannot write " + path.string());
    }
}

// A file for the moment, under a name that nothing else has.
class ScratchFile {
  public:
    ScratchFile(const fs::path& path, const fs::path& folder)
        : mName(folder / ".file-XXXXXX"), mFd(mkostemp(mName.data(), O_CLOEXEC)) {
        if (!mFd.ok()) throwErrno("cannot make " + path.string());
        fchmod(mFd.get(), 0666);
    }
    ~ScratchFile() { unlink(mName.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const char* name() const { return mName.c_str(); }
    int fd() const { return mFd.get(); }

  private:
    std::string mName;
    const unique_fd mFd;
};

void makeFolderOf(const fs::path& path) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    if (error) throw Error("cannot make the folder of " + path.string() + ": " + error.message());
}

}  // namespace

void putFile(const fs::path& path, std::string_view content, const fs::path& scratch) {
    {
        const unique_fd fd(
                open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK));
        struct stat status;
        if (fd.ok() && fstat(fd.get(), &status) == 0) {
            if (!S_ISREG(status.st_mode)) throw Error(path.string() + " is not a regular file");
            if (status.st_size == static_cast<off_t>(content.size())) {
                writeWhole(fd.get(), content, path);
                return;
            }
        }
    }
    makeFolderOf(path);
    const ScratchFile file(path, scratch);
    writeWhole(file.fd(), content, path);
    if (rename(file.name(), path.c_str()) != 0) throwErrno("cannot put " + path.string());
}

void linkFile(const fs::path& path, std::string_view content) {
    makeFolderOf(path);
    const ScratchFile file(path, "/");
    writeWhole(file.fd(), content, path);
    if (link(file.name(), path.c_str()) != 0) throwErrno("cannot put " + path.string());
}

std::optional<std::string> takeFile(const fs::path& path) {
    const unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status;
    if (!fd.ok() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    std::string content;
    char buffer[4096];
    ssize_t count;
    while ((count = read(fd.get(), buffer, sizeof(buffer))) > 0) content.append(buffer, count);
    return content;
}

std::vector<File> listFiles(const fs::path& folder) {
    std::vector<File> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; entry != end && !error;
         entry.increment(error)) {
        std::error_code gone;
        if (!entry->is_regular_file(gone)) continue;
        const uintmax_t size = entry->file_size(gone);
        if (!gone) files.push_back({entry->path().filename(), size});
    }
    std::sort(files.begin(), files.end(),
              [](const File& a, const File& b) { return a.name < b.name; });
    return files;
}

void putLink(const fs::path& path, const fs::path& target) {
    makeFolderOf(path);
    if (symlink(target.c_str(), path.c_str()) != 0) throwErrno("cannot make " + path.string());
}

void removeTree(const fs::path& path) {
    std::error_code error;
    fs::remove_all(path, error);
    if (error) throw Error("cannot remove " + path.string() + ": " + error.message());
}

void emptyFolder(const fs::path& folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path() != "/data/hidl") removeTree(entry.path());
    }
}

fs::path resolve(const fs::path& path) {
    std::error_code error;
    fs::path resolved = fs::weakly_canonical(path, error);
    if (error) throw Error("cannot resolve " + path.string() + ": " + error.message());
    return resolved;
}

bool isOfWorld(const fs::path& resolved) {
    for (const char* folder : {"/dev/", "/sys/", "/data/", "/system_ext/"}) {
        if (resolved.native().rfind(folder, 0) == 0) return true;
    }
    return false;
}

fs::path resolveInWorld(const std::string& path) {
    fs::path resolved = resolve(path);
    if (path.empty() || path[0] != '/' || !isOfWorld(resolved)) {
        throw Error("\"" + path + "\" is not a file of the phone: name one below /dev, /sys, " +
                    "/data or /system_ext");
    }
    return resolved;
}

}  // namespace phone
