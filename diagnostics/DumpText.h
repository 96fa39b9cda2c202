// The text of a debug dump, for people or as JSON: sections, each of one row or of a list of rows,
// and in a row members, each with a name and a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// The text with every byte but the printable ones of ASCII spelled, as in "<0x1B>".
std::string spelled(std::string_view bytes);

class DumpRow {
  public:
    DumpRow& text(const char* name, std::string_view value);
    DumpRow& flag(const char* name, bool value);
    DumpRow& numbers(const char* name, const std::vector<int64_t>& values);
    // What cannot be told at this moment.
    DumpRow& unknown(const char* name);

    template <typename T>
    DumpRow& number(const char* name, T value) {
        static_assert(std::is_integral_v<T>);
        return add(name, std::to_string(value), "");
    }

    // {"name":value,...}
    std::string json() const;
    // "name=value ..."
    std::string line() const;
    // "  name  value", a line each, the values below each other.
    std::string table() const;

  private:
    struct Member {
        const char* name;
        std::string value;
        const char* quote;  // what stands around it in JSON
    };

    DumpRow& add(const char* name, std::string value, const char* quote);

    std::vector<Member> mMembers;
};

class DumpText {
  public:
    void add(const char* name, DumpRow row);
    void add(const char* name, std::vector<DumpRow> rows);

    // An object with a member a section, on one line; a section of a list is an array.
    std::string json() const;
    std::string words() const;

  private:
    struct Section {
        const char* name;
        bool isList;
        std::vector<DumpRow> rows;
    };

    std::vector<Section> mSections;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
