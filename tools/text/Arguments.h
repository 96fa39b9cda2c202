#pragma once

#include <hidl/HidlSupport.h>
#include <stdint.h>
#include <utils/StrongPointer.h>
#include <vendor/qmx/hardware/bivista/1.0/types.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace bivistactl {

// A text is not what the parameter takes. `what()` begins with the text in question.
class BadArgument : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Numbers are decimal or, after 0x, hexadecimal, with a minus sign in front when negative, and
// nothing else. All throw BadArgument.
int32_t parseInt32(const std::string& text);
uint32_t parseUint32(const std::string& text);
// A brightness, 0 to 255.
int32_t parseLevel(const std::string& text);
// "true" or "false".
bool parseBool(const std::string& text);
// What parseBool() takes.
const char* formatBool(bool value);
// "on" or "off".
bool parseSwitch(const std::string& text);
// "@FILE": the 32-bit little-endian words of a file, or numbers with commas between; empty for
// none. At most 1 MiB, which is what a call carries.
std::vector<uint32_t> parseWords(const std::string& text);
// "null".
void parseNull(const std::string& text);

// The texts of a command line, taken one by one.
class Texts {
  public:
    explicit Texts(const std::vector<std::string>& texts) : mTexts(texts) {}

    const std::string& take() { return mTexts.at(mTaken++); }
    size_t taken() const { return mTaken; }

  private:
    const std::vector<std::string>& mTexts;
    size_t mTaken = 0;
};

// How texts of the command line become an argument of type T: `types` names the type of each text
// that make() takes.
template <typename T>
struct Argument;

template <>
struct Argument<int32_t> {
    static constexpr const char* types[] = {"int32"};
    static int32_t make(Texts& texts) { return parseInt32(texts.take()); }
};

template <>
struct Argument<uint32_t> {
    static constexpr const char* types[] = {"uint32"};
    static uint32_t make(Texts& texts) { return parseUint32(texts.take()); }
};

template <>
struct Argument<bool> {
    static constexpr const char* types[] = {"true|false"};
    static bool make(Texts& texts) { return parseBool(texts.take()); }
};

template <>
struct Argument<::android::hardware::hidl_string> {
    static constexpr const char* types[] = {"text"};
    static ::android::hardware::hidl_string make(Texts& texts) { return texts.take(); }
};

template <>
struct Argument<::android::hardware::hidl_vec<uint32_t>> {
    static constexpr const char* types[] = {"@FILE|uint32,..."};
    static ::android::hardware::hidl_vec<uint32_t> make(Texts& texts) {
        return parseWords(texts.take());
    }
};

template <>
struct Argument<::vendor::qmx::hardware::bivista::V1_0::ScreenMode> {
    static constexpr const char* types[] = {"int32"};
    static ::vendor::qmx::hardware::bivista::V1_0::ScreenMode make(Texts& texts) {
        return static_cast<::vendor::qmx::hardware::bivista::V1_0::ScreenMode>(
                parseInt32(texts.take()));
    }
};

template <>
struct Argument<::vendor::qmx::hardware::bivista::V1_0::LpwgStatus> {
    static constexpr const char* types[] = {"int32", "int32"};
    static ::vendor::qmx::hardware::bivista::V1_0::LpwgStatus make(Texts& texts) {
        return {parseInt32(texts.take()), parseInt32(texts.take())};
    }
};

// A callback.
template <typename Interface>
struct Argument<::android::sp<Interface>> {
    static constexpr const char* types[] = {"null"};
    static ::android::sp<Interface> make(Texts& texts) {
        parseNull(texts.take());
        return nullptr;
    }
};

}  // namespace bivistactl
