#include "tools/commands/Methods.h"

#include <array>
#include <initializer_list>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>

#include "tools/Failure.h"
#include "tools/text/Arguments.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::hardware::Return;
using ::vendor::qmx::hardware::bivista::V1_0::Status;

sp<BivistaV1_0> as(const sp<BivistaV1_0>& service, BivistaV1_0*) {
    return service;
}

sp<BivistaV1_1> as(const sp<BivistaV1_0>& service, BivistaV1_1*) {
    return asV1_1(service);
}

// Tells the result callback that a method may have as its last parameter.
template <typename T>
struct IsResultCallback : std::false_type {};
template <typename... Results>
struct IsResultCallback<std::function<void(Results...)>> : std::true_type {};

// Calls one method of the interface: parses its arguments and gathers what it answers.
template <typename Interface, typename Result, typename... P>
class Caller {
    using Member = Result (Interface::*)(P...);
    using All = std::tuple<std::decay_t<P>...>;

    static constexpr bool hasCallback() {
        if constexpr (sizeof...(P) > 0) {
            return IsResultCallback<std::tuple_element_t<sizeof...(P) - 1, All>>::value;
        }
        return false;
    }
    static constexpr size_t kInputs = sizeof...(P) - (hasCallback() ? 1 : 0);
    template <size_t I>
    using Input = std::tuple_element_t<I, All>;
    using Indices = std::make_index_sequence<kInputs>;

  public:
    static Method describe(const char* name, Member member,
                           std::initializer_list<const char*> names) {
        Method method = {name, parameters(names, Indices()), nullptr};
        method.bind = [member, method](const std::vector<std::string>& texts) {
            return bind(method, member, texts, Indices());
        };
        return method;
    }

  private:
    template <size_t... I>
    static std::vector<Parameter> parameters(std::initializer_list<const char*> names,
                                             std::index_sequence<I...>) {
        std::vector<std::string> types;
        (types.insert(types.end(), std::begin(Argument<Input<I>>::types),
                      std::end(Argument<Input<I>>::types)),
         ...);
        if (names.size() != types.size()) throw std::logic_error("a parameter without a name");
        std::vector<Parameter> parameters;
        for (const char* name : names) {
            parameters.push_back({name, types[parameters.size()]});
        }
        return parameters;
    }

    template <typename T>
    static T parse(const Method& method, Texts& texts) {
        try {
            return Argument<T>::make(texts);
        } catch (const BadArgument& bad) {
            const Parameter& parameter = method.parameters[texts.taken() - 1];
            throw Failure(EXIT_USAGE,
                          method.name + ", " + parameter.name + ": " + bad.what() + ".");
        }
    }

    template <size_t... I>
    static Call bind(const Method& method, Member member, const std::vector<std::string>& texts,
                     std::index_sequence<I...>) {
        if (texts.size() != method.parameters.size()) {
            throw Failure(EXIT_USAGE, method.name + " takes " +
                                              std::to_string(method.parameters.size()) +
                                              " arguments, not " + std::to_string(texts.size()) +
                                              ": bivistactl call " + method.synopsis());
        }
        [[maybe_unused]] Texts rest(texts);
        // Braces keep the order of evaluation.
        auto arguments = std::tuple<Input<I>...>{parse<Input<I>>(method, rest)...};
        return [member, arguments](const sp<BivistaV1_0>& service) {
            sp<Interface> object = as(service, static_cast<Interface*>(nullptr));
            return std::apply(
                    [&](const auto&... inputs) { return invoke(*object, member, inputs...); },
                    arguments);
        };
    }

    template <typename... Inputs>
    static Answer invoke(Interface& object, Member member, const Inputs&... inputs) {
        Answer answer;
        if constexpr (hasCallback()) {
            auto result = (object.*member)(inputs..., [&](Status status, const auto& value) {
                answer = {status, toJson(value)};
            });
            requireDelivered(result);
        } else {
            auto result = (object.*member)(inputs...);
            requireDelivered(result);
            if constexpr (std::is_same_v<Result, Return<Status>>) {
                answer.status = static_cast<Status>(result);
            } else if constexpr (std::is_same_v<Result, Return<bool>>) {
                answer.value = static_cast<bool>(result);
            }
        }
        return answer;
    }
};

template <typename Interface, typename Result, typename... P>
Method method(const char* name, Result (Interface::*member)(P...),
              std::initializer_list<const char*> names = {}) {
    return Caller<Interface, Result, P...>::describe(name, member, names);
}

std::vector<Method> makeTable() {
    using V1_0 = BivistaV1_0;
    using V1_1 = BivistaV1_1;
    return {
            method("getFirmwareVersion", &V1_0::getFirmwareVersion),
            method("checkFirmwareVersion", &V1_0::checkFirmwareVersion),
            method("getFirmwareFile", &V1_0::getFirmwareFile),
            method("doFirmwareUpgrade", &V1_0::doFirmwareUpgrade),
            method("goDload", &V1_0::goDload),
            method("goSTMDload", &V1_0::goSTMDload),
            method("cancelFirmwareUpgrade", &V1_0::cancelFirmwareUpgrade),
            method("getTouchFirmwareVersion", &V1_0::getTouchFirmwareVersion),
            method("DoRawdata", &V1_0::DoRawdata),
            method("DoDelta", &V1_0::DoDelta),
            method("DoTouchReset", &V1_0::DoTouchReset),
            method("getGpiopin", &V1_0::getGpiopin),
            method("setStatus", &V1_0::setStatus, {"type", "value"}),
            method("DoTouchFirmwareUpgrade", &V1_0::DoTouchFirmwareUpgrade),
            method("getSelfTest", &V1_0::getSelfTest),
            method("getLPWGSelfTest", &V1_0::getLPWGSelfTest),
            method("getTestResults", &V1_0::getTestResults),
            method("setLpwgCallback", &V1_0::setLpwgCallback, {"callback"}),
            method("setBrightness", &V1_0::setBrightness, {"value"}),
            method("setPowerStatus", &V1_0::setPowerStatus, {"enable", "uevent"}),
            method("getCoverDisplayCutout", &V1_0::getCoverDisplayCutout),
            method("setRgbTune", &V1_0::setRgbTune, {"value1", "value2", "value3", "value4"}),
            method("setScreenMode", &V1_0::setScreenMode, {"mode"}),
            method("setScreenTune", &V1_0::setScreenTune,
                   {"value1", "value2", "value3", "ignored"}),
            method("setBVBrightnessOffset", &V1_0::setBVBrightnessOffset, {"value"}),
            method("getBV2Status", &V1_0::getBV2Status),
            method("setSubDisplayBrightness", &V1_0::setSubDisplayBrightness, {"value"}),
            method("setSubDisplayPowerState", &V1_0::setSubDisplayPowerState, {"enable"}),
            method("getSubDisplayInfo", &V1_0::getSubDisplayInfo),
            method("drawSubDisplay", &V1_0::drawSubDisplay, {"frame"}),
            method("getSubDisplayPowerState", &V1_0::getSubDisplayPowerState),
            method("setSubDisplayCallback", &V1_0::setSubDisplayCallback, {"callback"}),
            method("getBV2Connect", &V1_0::getBV2Connect),
            method("sendAtCommand", &V1_0::sendAtCommand, {"cmd", "cb"}),
            method("setAesMode", &V1_1::setAesMode, {"mode"}),
            method("manageAesMode", &V1_1::manageAesMode, {"mode"}),
            method("bv_update_state", &V1_1::bv_update_state),
            method("set_touch_perf", &V1_1::set_touch_perf, {"enable"}),
    };
}

}  // namespace

std::string Method::synopsis() const {
    std::string text = name;
    for (const Parameter& parameter : parameters) text += " " + parameter.name;
    return text;
}

const std::vector<Method>& methods() {
    static const std::vector<Method> table = makeTable();
    return table;
}

std::string toLine(const std::string& method, const Answer& answer) {
    Json line = {{"method", method}};
    if (answer.status) line["status"] = toJson(*answer.status);
    if (answer.value) line["value"] = *answer.value;
    return toLine(line) + "\n";
}

const Method* findMethod(const std::string& name) {
    for (const Method& method : methods()) {
        if (method.name == name) return &method;
    }
    return nullptr;
}

}  // namespace bivistactl
