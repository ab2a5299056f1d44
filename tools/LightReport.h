/// One light as the tool shows it, read from what the bridge tells of it. Pure.
#pragma once

#include <optional>
#include <string>

#include <json/value.h>

#include "Text.h"
#include "huelib/HSVColor.h"
#include "huelib/LightCatalogue.h"
#include "huelib/XYColor.h"

namespace huectl {

class LightReport final {
  public:
    /// `description` may have any shape; what is not as a bridge writes it is shown as missing.
    LightReport(int id, const Json::Value& description);

    int id() const { return id_; }
    const std::string& name() const { return name_; }
    const std::string& model() const { return model_; }
    /// Empty for a model that the catalogue does not know.
    const std::optional<LightCatalogue::LightClass>& light_class() const { return class_; }

    /// The titles of row().
    static Row heading();
    Row row() const;
    /// Members that the light does not have are left out; "class" is null for an unknown model.
    Json::Value json() const;

  private:
    std::string on_text() const;
    std::string look_text() const;

    int id_;
    std::string name_, model_;
    std::optional<LightCatalogue::LightClass> class_;
    std::optional<bool> on_;
    bool is_reachable_ = true;
    std::optional<unsigned> brightness_;  // percent
    std::string mode_;                    // "hs", "xy" or "ct"
    std::optional<unsigned> mired_;
    std::optional<HSVColor> hsv_;
    std::optional<XYColor> xy_;
    bool is_looping_ = false;
};

/// The name of a class of lights, as "huectl lights" shows it.
std::string name_of_class(ColorType type);

}  // namespace huectl
