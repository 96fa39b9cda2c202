// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace {

constexpr const char* kDefaultFile = "/data/property/host.prop";
constexpr size_t kMaxLength = PROPERTY_VALUE_MAX - 1;

// Takes the bytes of a property file and keeps the value of one key. Memory is bounded however long
// the file and its lines are.
class ValueFinder {
  public:
    explicit ValueFinder(std::string_view key) : mKey(key) {}

    void take(std::string_view bytes) {
        for (char byte : bytes) take(byte);
    }

    // The value so far: that of the last line with the key.
    const std::string& finish() {
        endLine();
        return mValue;
    }

  private:
    enum class Part { KEY, VALUE, OTHER };

    void take(char byte) {
        if (byte == '\n') {
            endLine();
        } else if (mPart == Part::VALUE) {
            if (mLine.size() < kMaxLength) mLine.push_back(byte);
            mLastByte = byte;
        } else if (mPart == Part::KEY) {
            takeKeyByte(byte);
        }
    }

    void takeKeyByte(char byte) {
        if (mMatched < mKey.size() && byte == mKey[mMatched]) {
            ++mMatched;
        } else if (mMatched == mKey.size() && byte == '=') {
            mPart = Part::VALUE;
        } else {
            mPart = Part::OTHER;
        }
    }

    void endLine() {
        if (mPart == Part::VALUE) {
            // A carriage return that ends the line belongs to the line ending. Beyond the cut it
            // was not stored.
            if (mLastByte == '\r' && !mLine.empty() && mLine.back() == '\r') mLine.pop_back();
            mValue = mLine.substr(0, mLine.find('\0'));
        }
        mLine.clear();
        mLastByte = '\0';
        mMatched = 0;
        mPart = Part::KEY;
    }

    const std::string_view mKey;
    Part mPart = Part::KEY;
    size_t mMatched = 0;
    char mLastByte = '\0';
    std::string mLine;
    std::string mValue;
};

const char* propertyFile() {
    const char* path = getenv("ANDROID_PROPERTY_FILE");
    return path != nullptr && *path != '\0' ? path : kDefaultFile;
}

std::string findValue(std::string_view key) {
    ValueFinder finder(key);
    // Non-blocking, so that a FIFO of that name does not hang the open.
    int fd = open(propertyFile(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return {};
    struct stat info;
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        char buffer[4096];
        ssize_t count;
        while ((count = TEMP_FAILURE_RETRY(read(fd, buffer, sizeof(buffer)))) > 0) {
            finder.take({buffer, static_cast<size_t>(count)});
        }
    }
    close(fd);
    return finder.finish();
}

}  // namespace

int property_get(const char* key, char* value, const char* default_value) {
    std::string found;
    if (key != nullptr && *key != '\0') found = findValue(key);
    if (found.empty() && default_value != nullptr) {
        found.assign(default_value, strnlen(default_value, kMaxLength));
    }
    memcpy(value, found.c_str(), found.size() + 1);
    return static_cast<int>(found.size());
}
