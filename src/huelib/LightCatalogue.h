/// Tables of light models: how each is controlled, and its picture; and of the bridge's types of
/// lights, for models that are in no group.
///
/// Model identifiers are compared exactly; some end in a blank that belongs to them. If a model is
/// in more than one group, the first one counts.
#pragma once

#include <optional>
#include <string_view>

#include "huelib/ColorType.h"

namespace LightCatalogue {

/// Which strategy a model gets.
enum class TemperatureControl { none, simple, extended };
enum class HueControl { none, simple, extended };

/// How a light is controlled.
struct LightClass {
    ColorType colorType;             ///< for HueLight::setColorType
    TemperatureControl temperature;  ///< none for a light without white tones
    HueControl hue;                  ///< none for a light without colours
    bool isDimmable = true;          ///< false for a light that can only be switched

    /// Whether the light has white tones, and whether it has colours.
    constexpr bool hasTemperature() const { return temperature != TemperatureControl::none; }
    constexpr bool hasColor() const { return hue != HueControl::none; }
};

/// Empty for a model that is not supported.
std::optional<LightClass> classOfModel(std::string_view modelId);

/// How a light of that type can be controlled, whatever its model. `type`: the bridge's "type",
/// such as "Dimmable light", compared exactly; empty for a type that is unknown. `gamut`: its
/// "capabilities.control.colorgamuttype", which counts for "Extended color light" only: ColorC for
/// "C", ColorB for any other text.
std::optional<LightClass> classOfType(std::string_view type, std::string_view gamut);

/// A name for people, such as "colour B"; "switch" for a light that can only be switched.
std::string_view nameOfClass(const LightClass& lightClass);

/// Empty for a model without a picture.
std::string_view pictureOfModel(std::string_view modelId);

}  // namespace LightCatalogue
