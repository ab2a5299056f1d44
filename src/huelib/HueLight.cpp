#include "huelib/HueLight.h"

#include "huelib/CachedLightState.h"
#include "huelib/ColorConversion.h"
#include "huelib/JsonAccess.h"
#include "huelib/LightDescription.h"
#include "libcbase/log.h"

namespace {

// What the bridge confirms under `key` in the first element of its answer; null if it does not.
const Json::Value& confirmedValue(const Json::Value& answer, const std::string& key) {
    return JsonAccess::member(JsonAccess::member(JsonAccess::element(answer, 0), "success"), key);
}

// The bridge's text for why it refused a part of a PUT; empty if it accepted everything.
std::string refusalIn(const Json::Value& answer) {
    if (!answer.isArray() || answer.empty()) {
        return "the answer is not expected";
    }
    for (const Json::Value& element : answer) {
        if (JsonAccess::member(element, "success").isNull()) {
            const Json::Value& problem = JsonAccess::member(element, "error");
            const std::string text =
                JsonAccess::asString(JsonAccess::member(problem, "description"));
            return text.empty() ? "the answer is not expected" : text;
        }
    }
    return "";
}

}  // namespace

HueLight::HueLight(int lightId, const HueCommandAPI& sender,
                   std::shared_ptr<const BrightnessStrategy> brightness,
                   std::shared_ptr<const ColorTemperatureStrategy> colorTemperature,
                   std::shared_ptr<const ColorHueStrategy> colorHue)
    : id(lightId),
      brightnessStrategy(std::move(brightness)),
      colorTemperatureStrategy(std::move(colorTemperature)),
      colorHueStrategy(std::move(colorHue)),
      commands(sender) {
    HueLight::refreshState();
}

HueLight::HueLight(int lightId, const HueCommandAPI& sender)
    : HueLight(lightId, sender, nullptr, nullptr, nullptr) {}

bool HueLight::On(std::uint8_t transition) {
    return OnNoRefresh(transition);
}

bool HueLight::Off(std::uint8_t transition) {
    return OffNoRefresh(transition);
}

bool HueLight::isOn() {
    refreshState();
    return CachedLightState(state).isOn();
}

bool HueLight::isOn() const {
    return CachedLightState(state).isOn();
}

int HueLight::getId() const {
    return id;
}

std::string HueLight::getType() const {
    return text("type");
}

std::string HueLight::getName() {
    refreshState();
    return text("name");
}

std::string HueLight::getName() const {
    return text("name");
}

std::string HueLight::getModelId() const {
    return text("modelid");
}

std::string HueLight::getUId() const {
    return text("uniqueid");
}

std::string HueLight::getManufacturername() const {
    return text("manufacturername");
}

std::string HueLight::getProductname() const {
    return text("productname");
}

std::string HueLight::getLuminaireUId() const {
    return text("luminaireuniqueid");
}

std::string HueLight::getSwVersion() {
    refreshState();
    return text("swversion");
}

std::string HueLight::getSwVersion() const {
    return text("swversion");
}

bool HueLight::setName(const std::string& name) {
    Json::Value request(Json::objectValue);
    request["name"] = name;
    const Json::Value answer = SendPutRequest(request, "/name");
    return confirmedValue(answer, path() + "/name") == Json::Value(name);
}

ColorType HueLight::getColorType() const {
    return colorType;
}

bool HueLight::hasBrightnessControl() const {
    return brightnessStrategy != nullptr;
}

bool HueLight::hasTemperatureControl() const {
    return colorTemperatureStrategy != nullptr;
}

bool HueLight::hasColorControl() const {
    return colorHueStrategy != nullptr;
}

bool HueLight::setBrightness(unsigned int bri, std::uint8_t transition) {
    return brightnessStrategy && brightnessStrategy->setBrightness(bri, transition, *this);
}

unsigned int HueLight::getBrightness() const {
    return brightnessStrategy ? brightnessStrategy->getBrightness(*this) : 0;
}

unsigned int HueLight::getBrightness() {
    return brightnessStrategy ? brightnessStrategy->getBrightness(*this) : 0;
}

bool HueLight::setColorTemperature(unsigned int mired, std::uint8_t transition) {
    return colorTemperatureStrategy &&
           colorTemperatureStrategy->setColorTemperature(mired, transition, *this);
}

unsigned int HueLight::getColorTemperature() const {
    return colorTemperatureStrategy ? colorTemperatureStrategy->getColorTemperature(*this) : 0;
}

unsigned int HueLight::getColorTemperature() {
    return colorTemperatureStrategy ? colorTemperatureStrategy->getColorTemperature(*this) : 0;
}

bool HueLight::setColorHue(std::uint16_t hue, std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorHue(hue, transition, *this);
}

bool HueLight::setColorSaturation(std::uint8_t sat, std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorSaturation(sat, transition, *this);
}

bool HueLight::setColorHueSaturation(std::uint16_t hue, std::uint8_t sat, std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorHueSaturation(hue, sat, transition, *this);
}

std::pair<std::uint16_t, std::uint8_t> HueLight::getColorHueSaturation() const {
    using Pair = std::pair<std::uint16_t, std::uint8_t>;
    return colorHueStrategy ? colorHueStrategy->getColorHueSaturation(*this) : Pair(0, 0);
}

std::pair<std::uint16_t, std::uint8_t> HueLight::getColorHueSaturation() {
    using Pair = std::pair<std::uint16_t, std::uint8_t>;
    return colorHueStrategy ? colorHueStrategy->getColorHueSaturation(*this) : Pair(0, 0);
}

bool HueLight::setColorXY(XYColor xy, std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorXY(xy, transition, *this);
}

XYColor HueLight::getColorXY() const {
    return colorHueStrategy ? colorHueStrategy->getColorXY(*this) : XYColor{};
}

XYColor HueLight::getColorXY() {
    return colorHueStrategy ? colorHueStrategy->getColorXY(*this) : XYColor{};
}

bool HueLight::setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                           std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorRGB(r, g, b, transition, *this);
}

RGB HueLight::getColorRGB() const {
    return colorHueStrategy ? colorHueStrategy->getColorRGB(*this) : RGB{};
}

bool HueLight::setColorHSV(HSVColor hsv, std::uint8_t transition) {
    return colorHueStrategy && colorHueStrategy->setColorHSV(hsv, transition, *this);
}

HSVColor HueLight::getColorHSV() const {
    return colorHueStrategy ? colorHueStrategy->getColorHSV(*this) : HSVColor{};
}

bool HueLight::alert() {
    Json::Value request(Json::objectValue);
    request["alert"] = "select";
    const Json::Value answer = SendPutRequest(request, "/state");
    return JsonAccess::asString(confirmedValue(answer, path() + "/state/alert")) == "select";
}

bool HueLight::alertTemperature(unsigned int mired) {
    return colorTemperatureStrategy && colorTemperatureStrategy->alertTemperature(mired, *this);
}

bool HueLight::alertHueSaturation(std::uint16_t hue, std::uint8_t sat) {
    return colorHueStrategy && colorHueStrategy->alertHueSaturation(hue, sat, *this);
}

bool HueLight::alertXY(XYColor xy) {
    return colorHueStrategy && colorHueStrategy->alertXY(xy, *this);
}

bool HueLight::alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return colorHueStrategy && colorHueStrategy->alertRGB(r, g, b, *this);
}

bool HueLight::setColorLoop(bool on) {
    return colorHueStrategy && colorHueStrategy->setColorLoop(on, *this);
}

void HueLight::setBrightnessStrategy(std::shared_ptr<const BrightnessStrategy> strategy) {
    brightnessStrategy = std::move(strategy);
}

void HueLight::setColorTemperatureStrategy(
    std::shared_ptr<const ColorTemperatureStrategy> strategy) {
    colorTemperatureStrategy = std::move(strategy);
}

void HueLight::setColorHueStrategy(std::shared_ptr<const ColorHueStrategy> strategy) {
    colorHueStrategy = std::move(strategy);
}

void HueLight::setCommandAPI(const HueCommandAPI& sender) {
    commands = sender;
}

bool HueLight::OnNoRefresh(std::uint8_t transition) {
    return switchTo(true, transition);
}

bool HueLight::OffNoRefresh(std::uint8_t transition) {
    return switchTo(false, transition);
}

Json::Value HueLight::SendPutRequest(const Json::Value& request, const std::string& subPath) {
    Json::Value answer = commands.PUTRequest(path() + subPath, request);
    // Not every operation looks at its answer, so a refusal is logged here.
    const std::string refusal = refusalIn(answer);
    if (!refusal.empty()) {
        error("HueLight->SendPutRequest the bridge refused the request: %s (light id = %d)\n",
              escape_control_characters(refusal).c_str(), id);
    }
    return answer;
}

Json::Value HueLight::emptyStateRequest(std::uint8_t transition) {
    Json::Value request(Json::objectValue);
    if (transition != kDefaultTransition) {
        request["transitiontime"] = transition;
    }
    return request;
}

void HueLight::refreshState() {
    if (!takeDescription(commands.GETRequest(path()))) {
        error("Answer in HueLight::refreshState of http_handler->GETJson(...) is not expected!");
    }
}

void HueLight::updateState(const std::string& json) {
    Json::Value description;
    if (!JsonAccess::parse(json, description)) {
        error("Problem crerating JSON object from received string state.");
    } else {
        takeDescription(description);
    }
}

bool HueLight::takeDescription(const Json::Value& description) {
    Json::Value kept = LightDescription::kept(description);
    if (kept.isNull()) {
        return false;
    }
    state = std::move(kept);
    return true;
}

unsigned int HueLight::KelvinToMired(unsigned int kelvin) const {
    return ColorConversion::reciprocalTemperature(kelvin);
}

unsigned int HueLight::MiredToKelvin(unsigned int mired) const {
    return ColorConversion::reciprocalTemperature(mired);
}

std::string HueLight::path() const {
    return "/lights/" + std::to_string(id);
}

bool HueLight::switchTo(bool on, std::uint8_t transition) {
    Json::Value request = emptyStateRequest(transition);
    request["on"] = on;
    SendPutRequest(request, "/state");
    return true;
}

std::string HueLight::text(const char* name) const {
    return JsonAccess::asString(JsonAccess::member(state, name));
}
