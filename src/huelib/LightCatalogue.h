/// What the light models of the maker can do and how they look, as tables.
///
/// Model identifiers are compared exactly. Some stand in more than one group, and some end in a
/// blank that belongs to them; where a model stands twice, the first entry counts.
#pragma once

#include <optional>
#include <string_view>

#include "huelib/ColorType.h"

namespace LightCatalogue {

enum class TemperatureControl { none, simple, extended };
enum class HueControl { none, simple, extended };

/// How a model is driven. Every model can be dimmed.
struct LightClass {
    ColorType colorType;
    TemperatureControl temperature;
    HueControl hue;
};

/// Empty for a model that is not supported.
std::optional<LightClass> classOfModel(std::string_view modelId);

/// Empty for a model without a picture.
std::string_view pictureOfModel(std::string_view modelId);

}  // namespace LightCatalogue
