#include "huelib/LightDescription.h"

#include <utility>

#include "huelib/JsonAccess.h"

namespace LightDescription {
namespace {

constexpr const char* kIdentity[] = {"type",        "name",
                                     "modelid",     "swversion",
                                     "uniqueid",    "manufacturername",
                                     "productname", "luminaireuniqueid"};
constexpr const char* kState[] = {"on",  "bri",    "ct",        "hue",
                                  "sat", "effect", "colormode", "reachable"};
constexpr Json::ArrayIndex kCoordinates = 2;

// Null for an array or object, since a single value is expected.
Json::Value keptScalar(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (value.getString(&begin, &end) && end - begin > std::ptrdiff_t{kMaxTextBytes}) {
        return Json::Value(begin, begin + kMaxTextBytes);
    }
    return value.isArray() || value.isObject() ? Json::Value() : value;
}

template <std::size_t count>
Json::Value keptMembers(const Json::Value& object, const char* const (&names)[count]) {
    Json::Value result(Json::objectValue);
    for (const char* name : names) {
        Json::Value value = keptScalar(JsonAccess::member(object, name));
        if (!value.isNull()) {
            result[Json::StaticString(name)] = std::move(value);
        }
    }
    return result;
}

Json::Value keptState(const Json::Value& state) {
    if (!state.isObject()) {
        return keptScalar(state);
    }
    Json::Value result = keptMembers(state, kState);
    const Json::Value& xy = JsonAccess::member(state, "xy");
    for (Json::ArrayIndex i = 0; xy.isArray() && i < kCoordinates; ++i) {
        result["xy"].append(keptScalar(JsonAccess::element(xy, i)));
    }
    return result;
}

}  // namespace

Json::Value kept(const Json::Value& description) {
    if (!description.isObject() || !description.isMember("state")) {
        return {};
    }
    Json::Value result = keptMembers(description, kIdentity);
    result["state"] = keptState(description["state"]);
    return result;
}

std::string keptText(const std::string& text) {
    return text.substr(0, kMaxTextBytes);
}

}  // namespace LightDescription
