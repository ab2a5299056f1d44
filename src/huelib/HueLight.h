/// One light of a bridge: its number, its last description (as far as it is used), and the
/// strategies that control it.
///
/// Copies share the strategies and the pacing of the sender. There is no lock: the caller
/// guards a light together with its bridge object. A const getter reads the cached description and
/// sends nothing; an overload that is not const refreshes the description first (one request). The
/// compiler chooses between them by the constness of the light: read the cache through a const
/// reference. No operation throws for a bad answer of the bridge: a set operation returns false, a
/// getter the default of its type. Exceptions of the transport propagate.
/// The destructor is not virtual: do not delete a derived object through a pointer to HueLight.
///
/// A `transition` counts steps of 100 ms; kDefaultTransition is the bridge's own and is not sent.
/// An operation whose strategy is missing sends nothing and returns false or zero.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <json/value.h>

#include "huelib/BrightnessStrategy.h"
#include "huelib/ColorHueStrategy.h"
#include "huelib/ColorTemperatureStrategy.h"
#include "huelib/ColorType.h"
#include "huelib/HueCommandAPI.h"

class HueLight {
  public:
    /// 400 ms, which a bridge uses for a request without a transition time.
    static constexpr std::uint8_t kDefaultTransition = 4;

    /// Reads the light's description from the bridge (one request). `lightId`: its number there,
    /// from 1, used unchanged in every path. The strategies are shared, and may be empty. The
    /// colour type is Undefined until setColorType.
    HueLight(int lightId, const HueCommandAPI& sender,
             std::shared_ptr<const BrightnessStrategy> brightness,
             std::shared_ptr<const ColorTemperatureStrategy> colorTemperature,
             std::shared_ptr<const ColorHueStrategy> colorHue);
    /// A light that can only be switched.
    HueLight(int lightId, const HueCommandAPI& sender);

    /// Switch without checking the answer: true even if the bridge refuses.
    virtual bool On(std::uint8_t transition = kDefaultTransition);
    virtual bool Off(std::uint8_t transition = kDefaultTransition);
    /// False also if the description has no such member. Not const: refreshes first (one request).
    virtual bool isOn();
    /// The same from the cached description.
    virtual bool isOn() const;

    /// The light's number on the bridge.
    virtual int getId() const;
    /// From the cached description, at most 256 bytes; empty if the description lacks it. Text from
    /// the bridge: escape it before it goes to a log or a terminal.
    virtual std::string getType() const;
    /// The same after a refresh (one request).
    virtual std::string getName();
    /// From the cached description, as getType.
    virtual std::string getName() const;
    virtual std::string getModelId() const;
    virtual std::string getUId() const;
    virtual std::string getManufacturername() const;
    virtual std::string getProductname() const;
    virtual std::string getLuminaireUId() const;
    /// The same after a refresh (one request).
    virtual std::string getSwVersion();
    /// From the cached description, as getType.
    virtual std::string getSwVersion() const;
    /// True if the bridge confirms exactly this name. Sent unchanged: a bridge accepts 1..32
    /// characters and refuses others, which gives false and a line in the log.
    virtual bool setName(const std::string& name);
    /// As given to setColorType.
    virtual ColorType getColorType() const;

    /// Whether the light has a strategy for it.
    virtual bool hasBrightnessControl() const;
    virtual bool hasTemperatureControl() const;
    virtual bool hasColorControl() const;

    /// `bri` 0..254, a larger value counts as 254; 0 switches off. False if the bridge did not
    /// confirm; switching off is not checked.
    virtual bool setBrightness(unsigned int bri, std::uint8_t transition = kDefaultTransition);
    /// As the bridge reports it, normally 0..254, not clamped. For a light that is off: the
    /// brightness at which it will switch on. The second form refreshes first.
    virtual unsigned int getBrightness() const;
    virtual unsigned int getBrightness();
    /// `mired` 153..500, clamped. False if the bridge did not confirm.
    virtual bool setColorTemperature(unsigned int mired,
                                     std::uint8_t transition = kDefaultTransition);
    /// In mired, as the bridge reports it, not clamped; 0 if it reports no temperature. The second
    /// form refreshes first.
    virtual unsigned int getColorTemperature() const;
    virtual unsigned int getColorTemperature();
    /// `hue` 0..65535, the whole colour circle; `sat` 0..254, a larger value counts as 254. False
    /// if the bridge did not confirm.
    virtual bool setColorHue(std::uint16_t hue, std::uint8_t transition = kDefaultTransition);
    virtual bool setColorSaturation(std::uint8_t sat, std::uint8_t transition = kDefaultTransition);
    virtual bool setColorHueSaturation(std::uint16_t hue, std::uint8_t sat,
                                       std::uint8_t transition = kDefaultTransition);
    /// As the bridge reports them, cut to their low 16 and 8 bits. The second form refreshes first.
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation() const;
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation();
    /// Coordinates 0..1, sent unchanged; the brightness of `xy` is not sent. False if the bridge
    /// did not confirm.
    virtual bool setColorXY(XYColor xy, std::uint8_t transition = kDefaultTransition);
    /// As the bridge reports them, with the brightness. A coordinate may be outside 0..1. The
    /// second form refreshes first.
    virtual XYColor getColorXY() const;
    virtual XYColor getColorXY();
    /// By hue and saturation (ColorConversion::hsvOfRGB); black, grey and white switch the light
    /// off. The answer is not checked: always true with a strategy.
    virtual bool setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                             std::uint8_t transition = kDefaultTransition);
    /// From the cached hue, saturation and brightness, also if the light is off.
    virtual RGB getColorRGB() const;
    /// {0, 0, 0} switches the light off, in the bridge's default transition; a saturation or value
    /// of 255 is sent unchanged. The answer is not checked: always true with a strategy.
    virtual bool setColorHSV(HSVColor hsv, std::uint8_t transition = kDefaultTransition);
    /// The cached hue, saturation and brightness in bytes, also if the light is off.
    virtual HSVColor getColorHSV() const;

    /// Blinks once. True if the bridge confirms.
    virtual bool alert();
    /// Show a white tone (153..500 mired, clamped) or a colour in the units of the set operations,
    /// blink once and restore what the light showed. Block for 1.72 s and up to seven requests.
    /// False if the light shows something that its class cannot restore, or if a step is not
    /// confirmed; the light then stays as that step left it. Not checked: the colour of alertRGB,
    /// and restoring the colour of a light that was off.
    virtual bool alertTemperature(unsigned int mired);
    virtual bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat);
    virtual bool alertXY(XYColor xy);
    virtual bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b);
    /// Starts or stops a cycle through all colours. Both switch on a light that is off. False if
    /// the bridge did not confirm.
    virtual bool setColorLoop(bool on);

    /// Shared, as in the constructor. An empty pointer removes the capability. The colour type does
    /// not change.
    virtual void setBrightnessStrategy(std::shared_ptr<const BrightnessStrategy> strategy);
    virtual void setColorTemperatureStrategy(
        std::shared_ptr<const ColorTemperatureStrategy> strategy);
    virtual void setColorHueStrategy(std::shared_ptr<const ColorHueStrategy> strategy);
    /// Later requests go through a copy of `sender`.
    virtual void setCommandAPI(const HueCommandAPI& sender);

    /// The same as On and Off.
    virtual bool OnNoRefresh(std::uint8_t transition = kDefaultTransition);
    virtual bool OffNoRefresh(std::uint8_t transition = kDefaultTransition);
    /// Sends a PUT of `request` to "/lights/<id>" and `subPath`, which begins with a slash. Returns
    /// the answer unchecked; a refusal is logged.
    virtual Json::Value SendPutRequest(const Json::Value& request, const std::string& subPath);
    /// A request for "/state" with only the transition time; empty when that is kDefaultTransition,
    /// which is never sent.
    static Json::Value emptyStateRequest(std::uint8_t transition);
    /// Reads the description from the bridge (one request). If the answer is not a description,
    /// logs an error and keeps the old one.
    virtual void refreshState();

    /// Takes a description that was read elsewhere. Logs an error if JsonAccess::parse refuses the
    /// text, ignores JSON that is not a description, and keeps the old one in both cases.
    void updateState(const std::string& json);
    /// The same with parsed JSON. False if it is not a description.
    bool takeDescription(const Json::Value& description);
    /// 1000000 / the argument, truncated; 0 gives 0.
    unsigned int KelvinToMired(unsigned int kelvin) const;
    unsigned int MiredToKelvin(unsigned int mired) const;

    /// For the creator of the light, which knows its model.
    void setColorType(ColorType type) { colorType = type; }
    /// The stored part of the last description: "state" and the texts that the getters return; null
    /// until the first successful refresh. Its values are unchecked: read them through JsonAccess.
    /// Valid until the next refresh or update.
    const Json::Value& getState() const { return state; }

  private:
    /// "/lights/<id>": the path of the light's requests and the start of the answers' keys.
    std::string path() const;
    bool switchTo(bool on, std::uint8_t transition);
    std::string text(const char* name) const;

    int id;
    Json::Value state;
    ColorType colorType = ColorType::Undefined;
    std::shared_ptr<const BrightnessStrategy> brightnessStrategy;
    std::shared_ptr<const ColorTemperatureStrategy> colorTemperatureStrategy;
    std::shared_ptr<const ColorHueStrategy> colorHueStrategy;
    HueCommandAPI commands;
};
