// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <string_view>

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <android-base/unique_fd.h>

#include "emulator/cover/Text.h"

namespace play {

namespace {

Place placeOf(const YAML::Mark& mark) {
    return {mark.line + 1, mark.column + 1};
}

// Builds the tree while the library parses, so that what must not be is refused at once.
class Builder : public YAML::EventHandler {
  public:
    explicit Builder(const std::filesystem::path& file) : mFile(file) {}

    Value take() { return std::move(mRoot); }

    void OnDocumentStart(const YAML::Mark& mark) override {
        if (mIsWhole) {
            refuse(mFile, placeOf(mark),
                   "a second scenario begins here: give each scenario a file of its own");
        }
    }
    void OnDocumentEnd() override { mIsWhole = true; }

    void OnNull(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override {
        add({.place = placeOf(mark), .kind = Value::Kind::Null});
    }
    void OnAlias(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override {
        refuse(mFile, placeOf(mark), "aliases (*NAME) are not taken: write the value again");
    }
    void OnAnchor(const YAML::Mark& mark, const std::string& name) override {
        refuse(mFile, placeOf(mark),
               "anchors are not taken: put \"&" + cut(name) + "\" into quotes if it is a text");
    }
    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t /*anchor*/,
                  const std::string& text) override {
        if (tag != "!") refuseTag(mark, tag);
        add({.place = placeOf(mark),
             .kind = Value::Kind::Text,
             .text = text,
             .isPlain = tag != "!"});
    }
    void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t /*anchor*/,
                         YAML::EmitterStyle::value /*style*/) override {
        begin(mark, tag, Value::Kind::List);
    }
    void OnSequenceEnd() override { end(); }
    void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t /*anchor*/,
                    YAML::EmitterStyle::value /*style*/) override {
        begin(mark, tag, Value::Kind::Map);
    }
    void OnMapEnd() override { end(); }

  private:
    void refuseTag(const YAML::Mark& mark, const std::string& tag) const {
        if (tag.empty() || tag == "?") return;
        refuse(mFile, placeOf(mark),
               "tags are not taken: put what begins with \"!\" into quotes if it is a text");
    }

    void begin(const YAML::Mark& mark, const std::string& tag, Value::Kind kind) {
        refuseTag(mark, tag);
        if (mOpen.size() == kDeepest) {
            refuse(mFile, placeOf(mark),
                   "more than " + std::to_string(kDeepest) + " lists and maps lie in each other");
        }
        mOpen.push_back({.place = placeOf(mark), .kind = kind});
    }

    void end() {
        Value value = std::move(mOpen.back());
        mOpen.pop_back();
        add(std::move(value));
    }

    void add(Value value) {
        if (mOpen.empty()) {
            mRoot = std::move(value);
            return;
        }
        Value& into = mOpen.back();
        const bool isKey = into.kind == Value::Kind::Map && into.keys.size() == into.items.size();
        if (isKey) requireKey(into, value);
        // The library puts what is absent where the next thing is.
        const bool isAbsent = !isKey && value.kind == Value::Kind::Null && !into.keys.empty();
        if (isAbsent) value.place = into.keys.back().place;
        (isKey ? into.keys : into.items).push_back(std::move(value));
    }

    void requireKey(const Value& map, const Value& key) const {
        if (key.kind != Value::Kind::Text) {
            refuse(mFile, key.place, "the word before \":\" must be a text");
        }
        if (map.find(key.text) != nullptr) {
            refuse(mFile, key.place, "\"" + cut(key.text) + "\" stands here twice: leave one out");
        }
        if (map.keys.size() == kMostKeys) {
            refuse(mFile, key.place, "a map has at most " + std::to_string(kMostKeys) + " names");
        }
    }

    const std::filesystem::path mFile;
    std::vector<Value> mOpen;
    Value mRoot;
    bool mIsWhole = false;
};

bool isUtf8(std::string_view line) {
    try {
        (void)Json(line).dump();
        return true;
    } catch (const Json::exception&) {
        return false;
    }
}

// The library would take some control bytes for the end of the file, or for another encoding.
void requireText(const std::string& bytes, const std::filesystem::path& file) {
    std::istringstream lines(bytes);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (!isUtf8(line)) refuse(file, {number, 1}, "this line is not UTF-8");
        for (size_t i = 0; i < line.size(); ++i) {
            const auto byte = static_cast<uint8_t>(line[i]);
            if (byte >= 0x20 || byte == '\t' || (byte == '\r' && i + 1 == line.size())) continue;
            refuse(file, {number, static_cast<int>(i) + 1},
                   "a control byte: between double quotes it is written " +
                           cover::escape(line.substr(i, 1)));
        }
    }
}

}  // namespace

const Value* Value::find(const std::string& key) const {
    for (size_t i = 0; i < keys.size(); ++i) {
        if (keys[i].text == key) return &items[i];
    }
    return nullptr;
}

void refuse(const std::filesystem::path& file, Place place, const std::string& what) {
    throw Wrong(file.string() + ":" + std::to_string(place.line) + ":" +
                std::to_string(place.column) + ": " + what);
}

std::string load(const std::filesystem::path& file) {
    const auto fail = [&](const std::string& what) { throw Wrong(file.string() + ": " + what); };
    // A FIFO would wait for its writer.
    const android::base::unique_fd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0) {
        fail(std::string("cannot be read: ") + strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) fail("is a folder: name the files in it");
    if (!S_ISREG(status.st_mode)) fail("is no file");
    std::string bytes(kMostBytes + 1, '\0');
    size_t length = 0;
    while (length < bytes.size()) {
        const ssize_t got = ::read(fd.get(), &bytes[length], bytes.size() - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail(std::string("cannot be read: ") + strerror(errno));
        if (got == 0) break;
        length += static_cast<size_t>(got);
    }
    if (length > kMostBytes) fail("is longer than 1 MiB");
    bytes.resize(length);
    return bytes;
}

Value parse(const std::string& bytes, const std::filesystem::path& file) {
    requireText(bytes, file);
    std::istringstream stream(bytes);
    Builder builder(file);
    try {
        YAML::Parser parser(stream);
        while (parser.HandleNextDocument(builder)) continue;
    } catch (const YAML::Exception& error) {
        refuse(file, placeOf(error.mark),
               "this is no YAML (" + error.msg +
                       "); a text that holds \": \" or \" #\", or begins with a sign, needs "
                       "quotes");
    }
    Value value = builder.take();
    if (value.kind == Value::Kind::Null) {
        throw Wrong(file.string() + ": is empty: a scenario begins with \"scenario: NAME\"");
    }
    if (value.kind != Value::Kind::Map) {
        refuse(file, value.place, "a scenario begins with \"scenario: NAME\"");
    }
    return value;
}

std::string spell(const Value& value) {
    if (value.kind == Value::Kind::Null) return "null";
    if (value.kind == Value::Kind::Text) {
        return value.text.empty() ? "\"\"" : value.text;
    }
    const bool isMap = value.kind == Value::Kind::Map;
    std::string text;
    for (size_t i = 0; i < value.items.size(); ++i) {
        if (!text.empty()) text += ", ";
        if (isMap) text += spell(value.keys[i]) + ": ";
        text += spell(value.items[i]);
    }
    return (isMap ? "{" : "[") + text + (isMap ? "}" : "]");
}

std::string cut(const std::string& text, size_t most) {
    size_t end = std::min(text.size(), most);
    // Not within a character.
    while (end < text.size() && (static_cast<uint8_t>(text[end]) & 0xc0) == 0x80) --end;
    std::string line;
    for (const char sign : text.substr(0, end)) {
        const auto byte = static_cast<uint8_t>(sign);
        line += byte < 0x20 || byte == 0x7f ? cover::escape({&sign, 1}) : std::string(1, sign);
    }
    return line + (end < text.size() ? "..." : "");
}

}  // namespace play
