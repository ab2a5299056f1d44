/// One entry of the light table: the last known state of a bridge light, and the controller objects
/// that drive it. In the daemon it is guarded by the light-table mutex of HueHandler.
#pragma once

#include <cstdint>

namespace hue_handler {

struct HueLightState {
    bool on = false;
    std::uint32_t brightness = 0;         ///< bridge units, 0..254
    std::uint32_t color_temperature = 0;  ///< mired

    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    std::uint8_t hue = 0;  ///< 0..255 covers the colour circle
    std::uint8_t saturation = 0;
    std::uint8_t value = 0;

    // Object IDs; 0 when the light has no object in that role.
    int on_off_object = 0;
    int value_object = 0;        ///< brightness in percent
    int temperature_object = 0;  ///< colour temperature in percent
    int r_object = 0;
    int g_object = 0;
    int b_object = 0;
    int hsv_object = 0;
};

}  // namespace hue_handler
