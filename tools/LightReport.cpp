#include "LightReport.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "huelib/ColorConversion.h"
#include "huelib/HSVColor.h"
#include "huelib/JsonAccess.h"
#include "huelib/LightList.h"

namespace huectl {
namespace {

constexpr unsigned kFullBrightness = 254;
constexpr const char* kMissing = "-";

// To the nearest percent, so that every percentage that was set is shown as it was set.
unsigned percent_of(unsigned brightness) {
    return (std::min(brightness, kFullBrightness) * 100 + kFullBrightness / 2) / kFullBrightness;
}

// [hue, saturation, value], 0..255 each.
std::optional<Json::Value> hsv_in(const Json::Value& state) {
    const auto hue = JsonAccess::toUnsigned(JsonAccess::member(state, "hue"));
    const auto saturation = JsonAccess::toUnsigned(JsonAccess::member(state, "sat"));
    const auto brightness = JsonAccess::toUnsigned(JsonAccess::member(state, "bri"));
    if (!hue || !saturation || !brightness) {
        return std::nullopt;
    }
    const HSVColor hsv = ColorConversion::hsvOfBridge(*hue, *saturation, *brightness);
    Json::Value result;
    for (const unsigned part : {hsv.hue, hsv.saturation, hsv.value}) {
        result.append(part);
    }
    return result;
}

// [x, y], 0..1 each, with the four decimals that a bridge gives.
std::optional<Json::Value> xy_in(const Json::Value& state) {
    Json::Value result;
    for (const Json::ArrayIndex i : {0U, 1U}) {
        const auto value =
            JsonAccess::toDouble(JsonAccess::element(JsonAccess::member(state, "xy"), i));
        if (!value || *value < 0 || *value > 1) {
            return std::nullopt;
        }
        result.append(std::round(*value * 10000) / 10000);
    }
    return result;
}

// Mired. Empty if it is no range.
std::optional<LightReport::MiredRange> range_in(const Json::Value& limits) {
    const auto min = JsonAccess::toUnsigned(JsonAccess::member(limits, "min"));
    const auto max = JsonAccess::toUnsigned(JsonAccess::member(limits, "max"));
    if (!min || !max || *min == 0 || *min > *max) {
        return std::nullopt;
    }
    return LightReport::MiredRange{*min, *max};
}

// What the light shows, by the mode that the bridge names.
std::string look_of(const std::string& mode, const std::optional<unsigned>& kelvin,
                    const std::optional<Json::Value>& hsv, const std::optional<Json::Value>& xy) {
    char text[64] = "";
    if (mode == "hs" && hsv) {
        std::snprintf(text, sizeof text, "hsv %u,%u,%u", (*hsv)[0].asUInt(), (*hsv)[1].asUInt(),
                      (*hsv)[2].asUInt());
    } else if (mode == "xy" && xy) {
        std::snprintf(text, sizeof text, "xy %.4f,%.4f", (*xy)[0].asDouble(), (*xy)[1].asDouble());
    } else if (mode == "ct" && kelvin) {
        std::snprintf(text, sizeof text, "%u K", *kelvin);
    }
    return text;
}

}  // namespace

LightReport::LightReport(int id, const Json::Value& description)
    : id_(id),
      name_(JsonAccess::asString(JsonAccess::member(description, "name"))),
      model_(JsonAccess::asString(JsonAccess::member(description, "modelid"))),
      class_(LightCatalogue::classOfModel(model_)) {
    add("id", std::to_string(id), "id", id);
    add("name", name_, "name", name_);
    add("model", model_, "model", model_);
    const Json::Value& control =
        JsonAccess::member(JsonAccess::member(description, "capabilities"), "control");
    add_class(JsonAccess::member(description, "type"), control);
    add_state(JsonAccess::member(description, "state"));
    mired_range_ = range_in(JsonAccess::member(control, "ct"));
}

void LightReport::add_class(const Json::Value& type, const Json::Value& control) {
    if (!class_) {
        class_ = LightCatalogue::classOfType(
            JsonAccess::asString(type),
            JsonAccess::asString(JsonAccess::member(control, "colorgamuttype")));
        is_by_type_ = class_.has_value();
    }
    if (!class_) {
        add("class", "UNKNOWN MODEL", "class", Json::Value());
        return;
    }
    const std::string name(LightCatalogue::nameOfClass(*class_));
    add("class", is_by_type_ ? name + " by type" : name, "class", name);
    if (is_by_type_) {
        add(nullptr, "", "by_type", true);
    }
}

void LightReport::add_state(const Json::Value& state) {
    const auto on = JsonAccess::toBool(JsonAccess::member(state, "on"));
    const bool is_reachable =
        JsonAccess::toBool(JsonAccess::member(state, "reachable")).value_or(true);
    add(nullptr, "", "reachable", is_reachable);
    add("on", !is_reachable ? "unreachable" : !on ? "" : *on ? "on" : "off", "on", on);

    auto brightness = JsonAccess::toUnsigned(JsonAccess::member(state, "bri"));
    if (brightness) {
        brightness = percent_of(*brightness);
    }
    add("brightness", brightness ? std::to_string(*brightness) + " %" : "", "brightness",
        brightness);

    const auto mired = JsonAccess::toUnsigned(JsonAccess::member(state, "ct"));
    const auto kelvin =
        mired ? std::make_optional(ColorConversion::reciprocalTemperature(*mired)) : std::nullopt;
    const auto hsv = hsv_in(state);
    const auto xy = xy_in(state);
    const std::string mode = JsonAccess::asString(JsonAccess::member(state, "colormode"));
    const bool is_looping =
        JsonAccess::asString(JsonAccess::member(state, "effect")) == "colorloop";
    add("temperature or colour", is_looping ? "colour loop" : look_of(mode, kelvin, hsv, xy),
        nullptr, std::nullopt);
    add(nullptr, "", "mired", mired);
    add(nullptr, "", "kelvin", kelvin);
    add(nullptr, "", "hsv", hsv);
    add(nullptr, "", "xy", xy);
    if (!mode.empty()) {
        add(nullptr, "", "mode", mode);
        add(nullptr, "", "loop", is_looping);
    }
}

void LightReport::add(const char* title, const std::string& cell, const char* member,
                      const std::optional<Json::Value>& value) {
    if (title != nullptr) {
        heading_.emplace_back(title);
        row_.push_back(cell.empty() ? kMissing : cell);
    }
    if (member != nullptr && value) {
        json_[member] = *value;
    }
}

std::map<int, LightReport> reports_of(const Json::Value& listed) {
    std::map<int, LightReport> reports;
    for (auto light = listed.begin();
         light != listed.end() && reports.size() < LightList::kMaxLights; ++light) {
        const std::string name = light.name();
        int id = 0;
        const char* const end = name.data() + name.size();
        const auto [stop, problem] = std::from_chars(name.data(), end, id);
        if (problem == std::errc() && stop == end && id > 0) {
            reports.emplace(id, LightReport(id, *light));
        }
    }
    return reports;
}

}  // namespace huectl
