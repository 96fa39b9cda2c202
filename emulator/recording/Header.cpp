// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/recording/Header.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "emulator/cover/Text.h"

namespace recording {

namespace {

constexpr char kProgram[] = "bivista-emulator";

using Texts = std::map<std::string, std::string>;

Json escaped(const Texts& texts) {
    Json object = Json::object();
    for (const auto& [key, value] : texts) object[cover::escape(key)] = cover::escape(value);
    return object;
}

// Nothing for what is no escaped text.
std::optional<std::string> textOf(const Json& value) {
    if (!value.is_string()) return std::nullopt;
    return cover::unescape(value.get_ref<const std::string&>());
}

bool readText(const Json& value, std::string* out) {
    std::optional<std::string> text = textOf(value);
    if (text) *out = *std::move(text);
    return text.has_value();
}

bool readList(const Json& value, std::vector<std::string>* out) {
    if (!value.is_array()) return false;
    return std::ranges::all_of(
            value, [out](const Json& each) { return readText(each, &out->emplace_back()); });
}

bool readTexts(const Json& value, Texts* out) {
    if (!value.is_object()) return false;
    return std::ranges::all_of(value.items(), [out](const auto& member) {
        const std::optional<std::string> key = cover::unescape(member.key());
        return key && readText(member.value(), &(*out)[*key]);
    });
}

bool readSizes(const Json& value, std::map<std::string, uint64_t>* out) {
    if (!value.is_object()) return false;
    return std::ranges::all_of(value.items(), [out](const auto& member) {
        const std::optional<std::string> key = cover::unescape(member.key());
        if (!key || !member.value().is_number_unsigned()) return false;
        (*out)[*key] = member.value().template get<uint64_t>();
        return true;
    });
}

// What is wrong with the member of the header, or of its "start".
std::string readMember(const std::string& name, const Json& value, Header* header) {
    const auto wrong = [&name](bool isRight, const char* shape) {
        return isRight ? "" : "the header's \"" + name + "\" must be " + shape;
    };
    if (name == "program") return wrong(readText(value, &header->program), "a text");
    if (name == "source") {
        const bool isRight = readText(value, &header->source) &&
                             (header->source == "phone" || header->source == "log");
        return wrong(isRight, "\"phone\" or \"log\"");
    }
    if (name == "lanes") return wrong(readList(value, &header->lanes), "a list of texts");
    if (name == "unknown") return wrong(readList(value, &header->unknown), "a list of texts");
    if (name == "properties") return wrong(readTexts(value, &header->properties), "texts by name");
    if (name == "files") return wrong(readTexts(value, &header->files), "texts by path");
    if (name == "images") return wrong(readSizes(value, &header->images), "sizes by file name");
    return "the header has an unknown member \"" + cover::escape(name) + "\"";
}

constexpr std::string_view kOfStart[] = {"properties", "files", "images"};

std::string readStart(const Json& start, Header* header) {
    if (!start.is_object()) return "the header's \"start\" must be an object";
    for (const auto& member : start.items()) {
        const std::string& name = member.key();
        const bool isKnown = std::ranges::find(kOfStart, name) != std::end(kOfStart);
        if (!isKnown) return "the header's \"start\" has an unknown member \"" + name + "\"";
        std::string wrong = readMember(name, member.value(), header);
        if (!wrong.empty()) return wrong;
    }
    return "";
}

// A later version may have members that this one does not know: its number comes first.
std::string checkVersion(const Json& version) {
    if (!version.is_number_integer()) return "the recording's version must be a number";
    if (version.is_number_unsigned() && version > kVersion) {
        return "is a recording of version " + version.dump() +
               "; this program reads versions 1 to " + std::to_string(kVersion);
    }
    // Version 1 has no header.
    if (version != kVersion) return "there is no recording of version " + version.dump();
    return "";
}

}  // namespace

bool isHeader(const Json& object) {
    return object.is_object() && object.contains("recording");
}

std::string toJson(const Header& header) {
    Json json = {{"recording", kVersion},
                 {"program", cover::escape(header.program)},
                 {"source", header.source}};
    if (!header.lanes.empty()) json["lanes"] = header.lanes;
    json["start"] = {{"properties", escaped(header.properties)},
                     {"files", escaped(header.files)},
                     {"images", Json::object()}};
    for (const auto& [name, size] : header.images) {
        json["start"]["images"][cover::escape(name)] = size;
    }
    for (const std::string& text : header.unknown) json["unknown"].push_back(cover::escape(text));
    return json.dump();
}

std::string readHeader(const Json& object, Header* header) {
    std::string wrong = checkVersion(object["recording"]);
    if (!wrong.empty()) return wrong;
    for (const char* name : {"program", "source", "start"}) {
        if (!object.contains(name)) return std::string("the header has no \"") + name + "\"";
    }
    for (const auto& member : object.items()) {
        if (member.key() == "recording") continue;
        const bool isOfStart = std::ranges::find(kOfStart, member.key()) != std::end(kOfStart);
        if (isOfStart) return "the header's \"" + member.key() + "\" belongs into its \"start\"";
        wrong = member.key() == "start" ? readStart(member.value(), header)
                                        : readMember(member.key(), member.value(), header);
        if (!wrong.empty()) return wrong;
    }
    if (header->program != kProgram && !header->program.starts_with(std::string(kProgram) + " ")) {
        return "is a recording of another program, \"" + cover::escape(header->program) + "\"";
    }
    return "";
}

}  // namespace recording
