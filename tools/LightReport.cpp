#include "LightReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "huelib/ColorConversion.h"
#include "huelib/JsonAccess.h"

namespace huectl {
namespace {

constexpr unsigned kFullBrightness = 254;
constexpr const char* kMissing = "-";

struct ClassName {
    ColorType type;
    const char* name;
};
constexpr ClassName kClassNames[] = {
    {ColorType::NoColor, "white"},   {ColorType::Temperature, "temperature"},
    {ColorType::ColorA, "colour A"}, {ColorType::ColorB, "colour B"},
    {ColorType::ColorC, "colour C"}, {ColorType::ColorCTemperature, "colour C, temperature"},
};

// To the nearest percent, so that every percentage that was set is shown as it was set.
unsigned percent_of(unsigned brightness) {
    return (std::min(brightness, kFullBrightness) * 100 + kFullBrightness / 2) / kFullBrightness;
}

std::optional<HSVColor> hsv_in(const Json::Value& state) {
    const auto hue = JsonAccess::toUnsigned(JsonAccess::member(state, "hue"));
    const auto saturation = JsonAccess::toUnsigned(JsonAccess::member(state, "sat"));
    const auto brightness = JsonAccess::toUnsigned(JsonAccess::member(state, "bri"));
    if (!hue || !saturation || !brightness) {
        return std::nullopt;
    }
    return ColorConversion::hsvOfBridge(*hue, *saturation, *brightness);
}

std::optional<XYColor> xy_in(const Json::Value& state) {
    const Json::Value& point = JsonAccess::member(state, "xy");
    const auto x = JsonAccess::toDouble(JsonAccess::element(point, 0));
    const auto y = JsonAccess::toDouble(JsonAccess::element(point, 1));
    const auto is_fraction = [](const auto& value) { return value && *value >= 0 && *value <= 1; };
    if (!is_fraction(x) || !is_fraction(y)) {
        return std::nullopt;
    }
    return XYColor{static_cast<float>(*x), static_cast<float>(*y), 0};
}

// Coordinates have four decimals on a bridge; a float has more noise than that.
double four_decimals(float coordinate) {
    return std::round(static_cast<double>(coordinate) * 10000) / 10000;
}

std::string text_of(const XYColor& xy) {
    char text[64];
    std::snprintf(text, sizeof text, "xy %.4f,%.4f", four_decimals(xy.x), four_decimals(xy.y));
    return text;
}

std::string text_of(const HSVColor& hsv) {
    return "hsv " + std::to_string(hsv.hue) + "," + std::to_string(hsv.saturation) + "," +
           std::to_string(hsv.value);
}

}  // namespace

std::string name_of_class(ColorType type) {
    const auto* found = std::find_if(std::begin(kClassNames), std::end(kClassNames),
                                     [type](const ClassName& entry) { return entry.type == type; });
    return found != std::end(kClassNames) ? found->name : kMissing;
}

LightReport::LightReport(int id, const Json::Value& description) : id_(id) {
    name_ = JsonAccess::asString(JsonAccess::member(description, "name"));
    model_ = JsonAccess::asString(JsonAccess::member(description, "modelid"));
    class_ = LightCatalogue::classOfModel(model_);
    const Json::Value& state = JsonAccess::member(description, "state");
    on_ = JsonAccess::toBool(JsonAccess::member(state, "on"));
    is_reachable_ = JsonAccess::toBool(JsonAccess::member(state, "reachable")).value_or(true);
    const auto brightness = JsonAccess::toUnsigned(JsonAccess::member(state, "bri"));
    if (brightness) {
        brightness_ = percent_of(*brightness);
    }
    mode_ = JsonAccess::asString(JsonAccess::member(state, "colormode"));
    mired_ = JsonAccess::toUnsigned(JsonAccess::member(state, "ct"));
    hsv_ = hsv_in(state);
    xy_ = xy_in(state);
    is_looping_ = JsonAccess::asString(JsonAccess::member(state, "effect")) == "colorloop";
}

Row LightReport::heading() {
    return {"id", "name", "model", "class", "on", "brightness", "temperature or colour"};
}

Row LightReport::row() const {
    return {std::to_string(id_),
            name_,
            model_,
            class_ ? name_of_class(class_->colorType) : "UNKNOWN MODEL",
            on_text(),
            brightness_ ? std::to_string(*brightness_) + " %" : kMissing,
            look_text()};
}

std::string LightReport::on_text() const {
    if (!is_reachable_) {
        return "unreachable";
    }
    return !on_ ? kMissing : *on_ ? "on" : "off";
}

std::string LightReport::look_text() const {
    if (is_looping_) {
        return "colour loop";
    }
    if (mode_ == "hs" && hsv_) {
        return text_of(*hsv_);
    }
    if (mode_ == "xy" && xy_) {
        return text_of(*xy_);
    }
    if (mode_ == "ct" && mired_) {
        return std::to_string(ColorConversion::reciprocalTemperature(*mired_)) + " K";
    }
    return kMissing;
}

Json::Value LightReport::json() const {
    Json::Value result;
    result["id"] = id_;
    result["name"] = name_;
    result["model"] = model_;
    result["class"] = class_ ? Json::Value(name_of_class(class_->colorType)) : Json::Value();
    result["reachable"] = is_reachable_;
    if (on_) {
        result["on"] = *on_;
    }
    if (brightness_) {
        result["brightness"] = *brightness_;
    }
    if (mired_) {
        result["mired"] = *mired_;
        result["kelvin"] = ColorConversion::reciprocalTemperature(*mired_);
    }
    if (hsv_) {
        for (const unsigned part : {hsv_->hue, hsv_->saturation, hsv_->value}) {
            result["hsv"].append(part);
        }
    }
    if (xy_) {
        result["xy"].append(four_decimals(xy_->x));
        result["xy"].append(four_decimals(xy_->y));
    }
    if (!mode_.empty()) {
        result["mode"] = mode_;
        result["loop"] = is_looping_;
    }
    return result;
}

}  // namespace huectl
