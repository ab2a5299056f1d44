/// One light as the tool shows it, read from the bridge's description. Pure.
#pragma once

#include <optional>
#include <string>

#include <json/value.h>

#include "Text.h"
#include "huelib/LightCatalogue.h"

namespace huectl {

class LightReport final {
  public:
    /// `description` may have any shape; what does not have a bridge's form counts as missing.
    LightReport(int id, const Json::Value& description);

    int id() const { return id_; }
    /// Empty when the description lacks it.
    const std::string& name() const { return name_; }
    const std::string& model() const { return model_; }
    /// Empty for a model that the catalogue does not know.
    const std::optional<LightCatalogue::LightClass>& light_class() const { return class_; }

    /// The titles of row(), the same for every light.
    const Row& heading() const { return heading_; }
    /// A missing value is "-".
    const Row& row() const { return row_; }
    /// A missing value is left out, except that of "name" and "model", which are then empty, of
    /// "reachable", which is then true, and of "class", which is null for an unknown model.
    const Json::Value& json() const { return json_; }

  private:
    /// Adds a column, a member of the JSON document, or both. A null `title` or `member` is for
    /// the other only; an empty `cell` or `value` is missing.
    void add(const char* title, const std::string& cell, const char* member,
             const std::optional<Json::Value>& value);
    void add_state(const Json::Value& state);

    int id_;
    std::string name_, model_;
    std::optional<LightCatalogue::LightClass> class_;
    Row heading_, row_;
    Json::Value json_;
};

/// The name of a class of lights, as "huectl lights" shows it.
std::string name_of_class(ColorType type);

}  // namespace huectl
