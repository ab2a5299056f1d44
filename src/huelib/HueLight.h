/// The image of one light on the bridge: its number, what is read of the last description that the
/// bridge gave of it, and the strategies that know how to drive it.
///
/// Copied by value freely; copies share the strategies and the pacing of the sender. No lock of its
/// own: a light belongs to whoever guards the bridge object. Getters of a const light read the
/// cached description and never send; those that a mutable light has besides refresh it first (one
/// request). No operation throws for a bad answer of the bridge (sets answer false, getters the
/// default of their type); exceptions of the transport propagate.
/// There is no virtual destructor: what is derived is not to be deleted through a pointer to this.
///
/// A `transition` counts steps of 100 ms; kDefaultTransition is the bridge's own and is not sent.
/// An operation whose strategy is missing sends nothing and answers false or zero.
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
    /// 400 ms, which a bridge takes when a request has no transition time.
    static constexpr std::uint8_t kDefaultTransition = 4;

    /// Reads the light's description from the bridge (one request). `lightId`: its number there,
    /// from 1 on, which goes into every path as it is. The strategies are shared, and may be empty.
    /// The colour type stays Undefined until the maker sets it.
    HueLight(int lightId, const HueCommandAPI& sender,
             std::shared_ptr<const BrightnessStrategy> brightness,
             std::shared_ptr<const ColorTemperatureStrategy> colorTemperature,
             std::shared_ptr<const ColorHueStrategy> colorHue);
    /// A light that can only be switched.
    HueLight(int lightId, const HueCommandAPI& sender);

    /// Switch, without looking at the answer: true even when the bridge refuses.
    virtual bool On(std::uint8_t transition = kDefaultTransition);
    virtual bool Off(std::uint8_t transition = kDefaultTransition);
    /// False also when the description does not say.
    virtual bool isOn();
    virtual bool isOn() const;

    /// The light's number on the bridge.
    virtual int getId() const;
    /// As the bridge describes the light, at most 256 bytes; empty when the description lacks it.
    virtual std::string getType() const;
    virtual std::string getName();
    virtual std::string getName() const;
    virtual std::string getModelId() const;
    virtual std::string getUId() const;
    virtual std::string getManufacturername() const;
    virtual std::string getProductname() const;
    virtual std::string getLuminaireUId() const;
    virtual std::string getSwVersion();
    virtual std::string getSwVersion() const;
    /// True when the bridge confirms exactly this name. Sent as it is: a bridge takes 1..32
    /// characters and refuses others, which gives false and a line in the log.
    virtual bool setName(const std::string& name);
    /// As the maker of the light has set it.
    virtual ColorType getColorType() const;

    /// Whether there is a strategy for it.
    virtual bool hasBrightnessControl() const;
    virtual bool hasTemperatureControl() const;
    virtual bool hasColorControl() const;

    /// `bri` 0..254, more counts as 254; 0 switches off. False when the bridge did not confirm;
    /// switching off is not checked.
    virtual bool setBrightness(unsigned int bri, std::uint8_t transition = kDefaultTransition);
    /// As the bridge gives it, 0..254 by its own rules, not clamped; that of a light that is off is
    /// what it will come back with.
    virtual unsigned int getBrightness() const;
    virtual unsigned int getBrightness();
    /// `mired` 153..500, clamped. False when the bridge did not confirm.
    virtual bool setColorTemperature(unsigned int mired,
                                     std::uint8_t transition = kDefaultTransition);
    /// In mired, as the bridge gives it, not clamped; 0 when it gives none.
    virtual unsigned int getColorTemperature() const;
    virtual unsigned int getColorTemperature();
    /// `hue` 0..65535, once round the circle; `sat` 0..254, more counts as 254. False when the
    /// bridge did not confirm.
    virtual bool setColorHue(std::uint16_t hue, std::uint8_t transition = kDefaultTransition);
    virtual bool setColorSaturation(std::uint8_t sat, std::uint8_t transition = kDefaultTransition);
    virtual bool setColorHueSaturation(std::uint16_t hue, std::uint8_t sat,
                                       std::uint8_t transition = kDefaultTransition);
    /// As the bridge gives them, cut to their low 16 and 8 bits.
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation() const;
    virtual std::pair<std::uint16_t, std::uint8_t> getColorHueSaturation();
    /// Coordinates 0..1, sent as they are, without the brightness of `xy`. False when the bridge
    /// did not confirm.
    virtual bool setColorXY(XYColor xy, std::uint8_t transition = kDefaultTransition);
    /// As the bridge gives them, with the brightness. A coordinate need not lie in 0..1.
    virtual XYColor getColorXY() const;
    virtual XYColor getColorXY();
    /// By hue and saturation (ColorConversion::hsvOfRGB); black, grey and white switch the light
    /// off. True whatever the bridge says.
    virtual bool setColorRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b,
                             std::uint8_t transition = kDefaultTransition);
    /// From hue, saturation and brightness, of a light that is off too.
    virtual RGB getColorRGB() const;
    /// {0, 0, 0} switches the light off, in the bridge's default transition; a saturation or value
    /// of 255 is sent as it is. True whatever the bridge says.
    virtual bool setColorHSV(HSVColor hsv, std::uint8_t transition = kDefaultTransition);
    /// As getColorRGB, but hue, saturation and brightness themselves, in bytes.
    virtual HSVColor getColorHSV() const;

    /// Blinks once. True when the bridge confirms.
    virtual bool alert();
    /// Show a white tone (153..500 mired, clamped) or a colour in the units of the set operations,
    /// blink once and go back to what the light showed. Block for 1.72 s and up to seven requests.
    /// False when the light shows something that its class cannot come back to, or when a step is
    /// not confirmed: it then stays as that step left it. Not looked at: the colour of alertRGB,
    /// and going back to that of a light that was off.
    virtual bool alertTemperature(unsigned int mired);
    virtual bool alertHueSaturation(std::uint16_t hue, std::uint8_t sat);
    virtual bool alertXY(XYColor xy);
    virtual bool alertRGB(std::uint8_t r, std::uint8_t g, std::uint8_t b);
    /// Starts or stops a walk through all colours. Switches on a light that is off, in both cases.
    /// False when the bridge did not confirm.
    virtual bool setColorLoop(bool on);

    /// Shared, as in the constructor. An empty pointer takes the capability away; the colour type
    /// stays.
    virtual void setBrightnessStrategy(std::shared_ptr<const BrightnessStrategy> strategy);
    virtual void setColorTemperatureStrategy(
        std::shared_ptr<const ColorTemperatureStrategy> strategy);
    virtual void setColorHueStrategy(std::shared_ptr<const ColorHueStrategy> strategy);
    /// Requests go through `sender` from now on.
    virtual void setCommandAPI(const HueCommandAPI& sender);

    /// The same as On and Off.
    virtual bool OnNoRefresh(std::uint8_t transition = kDefaultTransition);
    virtual bool OffNoRefresh(std::uint8_t transition = kDefaultTransition);
    /// PUT of `request` to "/lights/<id>" and `subPath`, which begins with a slash; returns the
    /// answer, whatever it is; what the bridge refuses has a line in the log.
    virtual Json::Value SendPutRequest(const Json::Value& request, const std::string& subPath);
    /// A request for "/state" with only the transition time; empty when that is kDefaultTransition,
    /// which is never sent.
    static Json::Value emptyStateRequest(std::uint8_t transition);
    /// Reads the description from the bridge. An answer that is none is logged, and the old
    /// description stays.
    virtual void refreshState();

    /// Takes a description that was read elsewhere. Text that is no JSON for JsonAccess::parse is
    /// logged, JSON that is no description ignored; the old one stays in both cases.
    void updateState(const std::string& json);
    /// The same with a description that is parsed already. False for what is no description.
    bool takeDescription(const Json::Value& description);
    /// 1000000 / the argument, truncated; 0 gives 0.
    unsigned int KelvinToMired(unsigned int kelvin) const;
    unsigned int MiredToKelvin(unsigned int mired) const;

    /// For the maker of the light, which knows its model.
    void setColorType(ColorType type) { colorType = type; }
    /// What is kept of the last description, "state" and the texts that the getters give; null
    /// until the first successful refresh. From outside: read it through JsonAccess. Valid until
    /// the next refresh or update.
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
