// The payload of a RUN command: its number, and the number in the units of the bridge.
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/support/Surroundings.h"
#include "gtwhandler/CallFromCoreParameters.h"
#include "hue_handler/HueHandler.h"
#include "hue_handler/UnitConversion.h"

namespace {

using fuzzing::require;

void check_units(std::int32_t value) {
    using namespace hue_handler;
    if (value >= 0 && value <= 100) {
        require(brightness_of_percent(value) <= 254, "a percentage is a brightness");
        require(mired_of_percent(value) >= 153 && mired_of_percent(value) <= 500,
                "a percentage is a colour temperature");
        const std::uint32_t percent = percent_of_brightness(brightness_of_percent(value));
        require(static_cast<std::int32_t>(percent) <= value &&
                    static_cast<std::int32_t>(percent) + 1 >= value,
                "a percentage converts back, rounded down");
    }
    if (value < 0) {
        constexpr std::uint32_t kLowestNegative = 1U << 31;
        const std::uint32_t mired = mired_of_percent(value);
        require(brightness_of_percent(value) >= kLowestNegative,
                "a negative percentage is beyond every brightness");
        require(value < -44 ? mired >= kLowestNegative : mired < 153,
                "a negative percentage is beyond every colour temperature");
    }
    const HSVColor color = hsv_of_word(value);
    const std::string word = text_of_hsv(color.hue, color.saturation, color.value);
    std::string problem;
    require(number_of_payload(word, problem) == (value & 0xFFFFFF), "a colour word converts back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string payload(reinterpret_cast<const char*>(data), size);
    std::string problem;
    const auto number = hue_handler::number_of_payload(payload, problem);
    require(number.has_value() == problem.empty(), "the result is a number or a problem");
    if (number) {
        check_units(*number);
        const bool is_color = payload.size() == 7 && payload[0] == '#';
        require(*number ==
                    std::strtoll(payload.c_str() + (is_color ? 1 : 0), nullptr, is_color ? 16 : 10),
                "the number is the one in the payload");
    }
    hue_handler::HueHandler handler(1, "127.0.0.1", "user");
    callfromcoreparametersnamespace::CallFromCoreParameters call(7, "RUN", payload.c_str(), "", "",
                                                                 "");
    require(handler.didReceiveCallFromCore(nullptr, &call) == 0, "a call is accepted or dropped");
    return 0;
}
