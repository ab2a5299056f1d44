/// One light as the tool shows it, read from the bridge's description. Pure.
#pragma once

#include <map>
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
    /// By the model, or else by the type. Empty if both are unknown.
    const std::optional<LightCatalogue::LightClass>& light_class() const { return class_; }
    /// Whether the model is unknown and the class is that of the type.
    bool is_by_type() const { return is_by_type_; }
    /// Whether the bridge has contact with the light; true if it does not say.
    bool is_reachable() const { return json_["reachable"].asBool(); }
    /// The light's own limits of temperatures, in mired; empty if the bridge does not give them.
    struct MiredRange {
        unsigned min, max;
    };
    const std::optional<MiredRange>& mired_range() const { return mired_range_; }

    /// The titles of row(), the same for every light.
    const Row& heading() const { return heading_; }
    /// A missing value is "-".
    const Row& row() const { return row_; }
    /// A missing value is left out, except that of "name" and "model", which are then empty, of
    /// "reachable", which is then true, and of "class", which is null if model and type are
    /// unknown. "by_type" is true for a class of the type, and left out otherwise.
    const Json::Value& json() const { return json_; }

  private:
    /// Adds a column, a member of the JSON document, or both. A null `title` or `member` is for
    /// the other only; an empty `cell` or `value` is missing.
    void add(const char* title, const std::string& cell, const char* member,
             const std::optional<Json::Value>& value);
    void add_class(const Json::Value& type, const Json::Value& control);
    void add_state(const Json::Value& state);

    int id_;
    std::string name_, model_;
    std::optional<LightCatalogue::LightClass> class_;
    bool is_by_type_ = false;
    std::optional<MiredRange> mired_range_;
    Row heading_, row_;
    Json::Value json_;
};

/// The lights of a bridge's list by their IDs, 1 or more; of a longer list, as many as the daemon
/// keeps. A member whose name is not an ID is not a light.
std::map<int, LightReport> reports_of(const Json::Value& listed);

}  // namespace huectl
