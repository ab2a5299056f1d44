#include "huelib/CachedLightState.h"

#include "huelib/HueLight.h"
#include "huelib/JsonAccess.h"

bool CachedLightState::isOn() const {
    return JsonAccess::asBool(member("on"));
}

unsigned int CachedLightState::brightness() const {
    return JsonAccess::asUnsigned(member("bri"));
}

unsigned int CachedLightState::temperature() const {
    return JsonAccess::asUnsigned(member("ct"));
}

unsigned int CachedLightState::hue() const {
    return JsonAccess::asUnsigned(member("hue"));
}

unsigned int CachedLightState::saturation() const {
    return JsonAccess::asUnsigned(member("sat"));
}

float CachedLightState::x() const {
    return JsonAccess::asFloat(JsonAccess::element(member("xy"), 0));
}

float CachedLightState::y() const {
    return JsonAccess::asFloat(JsonAccess::element(member("xy"), 1));
}

std::string CachedLightState::colorMode() const {
    return JsonAccess::asString(member("colormode"));
}

std::string CachedLightState::effect() const {
    return JsonAccess::asString(member("effect"));
}

const Json::Value& CachedLightState::member(const char* name) const {
    return JsonAccess::member(JsonAccess::member(light.getState(), "state"), name);
}
