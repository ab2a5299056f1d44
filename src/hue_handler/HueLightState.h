/// One entry of the light table: the last known state of a bridge light, and the controller objects
/// that drive it. In the daemon it is guarded by the light-table mutex of HueHandler.
#pragma once

#include <cstdint>

namespace hue_handler {

struct HueLightState {
    /// Brightness in bridge units, 0..254, and temperature in mired.
    bool on = false;
    std::uint32_t brightness = 0;
    std::uint32_t color_temperature = 0;

    /// The colour in RGB, and in HSV; a hue of 0..255 covers the colour circle.
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t hue = 0;
    std::uint8_t saturation = 0;
    std::uint8_t value = 0;

    /// Object IDs; 0 if the light has no object in that role. The objects of value (brightness) and
    /// temperature are in percent.
    int on_off_object = 0;
    int value_object = 0;
    int temperature_object = 0;
    int r_object = 0;
    int g_object = 0;
    int b_object = 0;
    int hsv_object = 0;
};

}  // namespace hue_handler
