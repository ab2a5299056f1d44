#include "huelib/CachedLightState.h"

#include "huelib/JsonAccess.h"

CachedLightState::CachedLightState(const Json::Value& description)
    : state(JsonAccess::member(description, "state")) {}

bool CachedLightState::isOn() const {
    return JsonAccess::asBool(JsonAccess::member(state, "on"));
}

unsigned int CachedLightState::brightness() const {
    return JsonAccess::asUnsigned(JsonAccess::member(state, "bri"));
}

unsigned int CachedLightState::temperature() const {
    return JsonAccess::asUnsigned(JsonAccess::member(state, "ct"));
}

unsigned int CachedLightState::hue() const {
    return JsonAccess::asUnsigned(JsonAccess::member(state, "hue"));
}

unsigned int CachedLightState::saturation() const {
    return JsonAccess::asUnsigned(JsonAccess::member(state, "sat"));
}

float CachedLightState::x() const {
    return JsonAccess::asFloat(JsonAccess::element(JsonAccess::member(state, "xy"), 0));
}

float CachedLightState::y() const {
    return JsonAccess::asFloat(JsonAccess::element(JsonAccess::member(state, "xy"), 1));
}

std::string CachedLightState::colorMode() const {
    return JsonAccess::asString(JsonAccess::member(state, "colormode"));
}

std::string CachedLightState::effect() const {
    return JsonAccess::asString(JsonAccess::member(state, "effect"));
}
