#include "huelib/Hue.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <utility>

#include "huelib/JsonAccess.h"
#include "huelib/LightCatalogue.h"
#include "libcbase/log.h"

namespace {

using LightCatalogue::HueControl;
using LightCatalogue::LightClass;
using LightCatalogue::TemperatureControl;

constexpr std::chrono::seconds kBetweenPairingAttempts{1};

// Lights are stored under the low 8 bits of their id.
unsigned char keyOf(int id) {
    return static_cast<unsigned char>(id);
}

// `found`: the class of its model.
LightClass classOfSupportedLight(std::optional<LightClass> found, const LightList::Entry& listed,
                                 bool isTypeEnough) {
    if (!found && isTypeEnough) {
        found = LightCatalogue::classOfType(listed.type, listed.gamut);
    }
    if (!found) {
        char message[64];  // a longer text is cut
        std::snprintf(message, sizeof message, "HueLight type %s not supported",
                      escape_control_characters(listed.modelId).c_str());
        throw std::runtime_error(message);
    }
    return *found;
}

// The class comes first: the texts of the bridge may fill the rest of the line.
void logDrivenByType(const HueLight& light, const LightList::Entry& listed,
                     const LightClass& lightClass) {
    info("Hue->getLight(%d) - unknown model driven by type: class %s, type %s, model %s, name %s\n",
         light.getId(), std::string(LightCatalogue::nameOfClass(lightClass)).c_str(),
         listed.type.c_str(), escape_control_characters(listed.modelId).c_str(),
         escape_control_characters(light.getName()).c_str());
}

}  // namespace

Hue::Hue(const std::string& bridgeIp, const std::string& user,
         std::shared_ptr<const IHttpHandler> handler)
    : ip(bridgeIp),
      username(user),
      simpleBrightnessStrategy(std::make_shared<SimpleBrightnessStrategy>()),
      simpleColorHueStrategy(std::make_shared<SimpleColorHueStrategy>()),
      extendedColorHueStrategy(std::make_shared<ExtendedColorHueStrategy>()),
      simpleColorTemperatureStrategy(std::make_shared<SimpleColorTemperatureStrategy>()),
      extendedColorTemperatureStrategy(std::make_shared<ExtendedColorTemperatureStrategy>()),
      http_handler(std::move(handler)),
      commands(bridgeIp, user, http_handler) {}

std::string Hue::requestUsername(const std::string& bridgeIp) {
    return requestUsername(bridgeIp,
                           [](const std::string& line) { std::cout << line << std::endl; });
}

std::string Hue::requestUsername(const std::string& bridgeIp, const PairingReport& report) {
    using Clock = std::chrono::steady_clock;
    report("Please press the link Button! You've got 35 secs!");
    Json::Value request;
    request["devicetype"] = "Lumakit#User";

    const Clock::time_point start = Clock::now();
    Clock::time_point lastAttempt = start;
    for (Clock::time_point now = start; now - start < kPairingPeriod; now = Clock::now()) {
        // Busy waiting, on purpose: the caller gives its thread for the whole period.
        if (now - lastAttempt <= kBetweenPairingAttempts) {
            continue;
        }
        lastAttempt = now;
        const Json::Value answer =
            http_handler->POSTJson("/api", request, bridgeIp, HueCommandAPI::kBridgePort);
        const Json::Value& first = JsonAccess::element(answer, 0);
        const Json::Value& success = JsonAccess::member(first, "success");
        const std::string name = JsonAccess::asString(JsonAccess::member(success, "username"));
        if (!name.empty()) {
            username = name;
            ip = bridgeIp;
            commands = HueCommandAPI(ip, username, http_handler);
            report("Success! Link button was pressed!");
            report("Username is \"" + username + "\"");
            return username;
        }
        if (success.isNull() && !JsonAccess::member(first, "error").isNull()) {
            report("Link button not pressed!");
        }
    }
    return "";
}

void Hue::refreshState() {
    if (username.empty()) {
        return;
    }
    const Json::Value answer = commands.GETRequest("");
    if (answer.isObject() && answer.isMember("lights")) {
        state = LightList(answer["lights"]);
    } else {
        error("Answer in Hue::refreshState of http_handler->GETJson(...) is not expected!");
    }
}

HueLight& Hue::getLight(int id) {
    info("Hue->getLight(%d) - start\n", id);
    const auto known = lights.find(keyOf(id));
    if (known != lights.end()) {
        info("Hue->getLight(%d) - light already found, refreshing state\n", id);
        known->second.refreshState();
        info("Hue->getLight(%d) - refreshing state done\n", id);
        return known->second;
    }
    info("Hue->getLight(%d) - light not found, refreshing state\n", id);
    refreshState();
    info("Hue->getLight(%d) - light not found, refreshing state done\n", id);
    const LightList::Entry* const listed = state.find(id);
    if (listed == nullptr) {
        error("Hue->getLight(%d) - light id is not valid\n", id);
        throw std::runtime_error("Error in Hue getLight(): light id is not valid");
    }
    return makeLight(id, *listed);
}

HueLight& Hue::makeLight(int id, const LightList::Entry& listed) {
    info("Hue->getLight(%d) - state: %s\n", id, listed.styledText.c_str());
    info("Hue->getLight(%d) - type: %s\n", id, escape_control_characters(listed.modelId).c_str());

    const std::optional<LightClass> ofModel = LightCatalogue::classOfModel(listed.modelId);
    const LightClass driven = classOfSupportedLight(ofModel, listed, areUnknownModelsDriven);
    std::shared_ptr<const BrightnessStrategy> brightness;
    if (driven.isDimmable) {
        brightness = simpleBrightnessStrategy;
    }
    std::shared_ptr<const ColorTemperatureStrategy> temperature;
    if (driven.temperature == TemperatureControl::simple) {
        temperature = simpleColorTemperatureStrategy;
    } else if (driven.temperature == TemperatureControl::extended) {
        temperature = extendedColorTemperatureStrategy;
    }
    std::shared_ptr<const ColorHueStrategy> hue;
    if (driven.hue == HueControl::simple) {
        hue = simpleColorHueStrategy;
    } else if (driven.hue == HueControl::extended) {
        hue = extendedColorHueStrategy;
    }
    HueLight made(id, commands, std::move(brightness), std::move(temperature), std::move(hue));
    made.setColorType(driven.colorType);
    HueLight& light = lights.emplace(keyOf(id), std::move(made)).first->second;
    if (!ofModel) {
        logDrivenByType(light, listed, driven);
    }
    return light;
}

HueLight& Hue::peekLight(int id) {
    return const_cast<HueLight&>(std::as_const(*this).peekLight(id));
}

const HueLight& Hue::peekLight(int id) const {
    const auto known = lights.find(keyOf(id));
    if (known == lights.end()) {
        throw std::runtime_error("Error in Hue peekLight(): light id is not valid");
    }
    return known->second;
}

bool Hue::lightExists(int id) {
    refreshState();
    return std::as_const(*this).lightExists(id);
}

bool Hue::lightExists(int id) const {
    return lights.count(keyOf(id)) != 0 || state.find(id) != nullptr;
}

bool Hue::removeLight(int id) {
    const std::string path = "/lights/" + std::to_string(id);
    const Json::Value answer = commands.DELETERequest(path);
    const Json::Value& success = JsonAccess::member(JsonAccess::element(answer, 0), "success");
    if (success != Json::Value(path + " deleted")) {
        return false;
    }
    lights.erase(keyOf(id));
    return true;
}

void Hue::refreshLights() {
    if (username.empty()) {
        return;
    }
    const Json::Value answer = commands.GETRequest("/lights");
    if (!answer.isObject()) {
        // A bridge that no longer accepts the user answers so to every poll. Without this line
        // nothing would explain why no change is reported.
        error("Answer in Hue::refreshLights of http_handler->GETJson(...) is not expected!");
        return;
    }
    for (auto& [id, light] : lights) {
        light.takeDescription(JsonAccess::member(answer, std::to_string(id)));
    }
}

std::vector<std::reference_wrapper<HueLight>> Hue::getAllLights() {
    refreshState();
    for (const std::string& name : state.names()) {  // a copy: getLight replaces the state
        getLight(std::stoi(name));
    }
    std::vector<std::reference_wrapper<HueLight>> all;
    all.reserve(lights.size());
    for (auto& entry : lights) {
        all.emplace_back(entry.second);
    }
    return all;
}

std::string Hue::getPictureOfLight(int id) const {
    const auto known = lights.find(keyOf(id));
    return known != lights.end() ? getPictureOfModel(known->second.getModelId()) : std::string();
}

std::string Hue::getPictureOfModel(const std::string& modelId) const {
    return std::string(LightCatalogue::pictureOfModel(modelId));
}
