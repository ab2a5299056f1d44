/// The lights that a bridge lists, as far as later operations need them.
///
/// Belongs to the bridge object, whose caller guards it. Bounded, whatever a bridge sends.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <json/value.h>

class LightList final {
  public:
    /// What is kept of one light.
    struct Entry {
        std::string modelId;     ///< empty when the bridge gives none; at most 256 bytes
        std::string styledText;  ///< the entry as indented JSON, as much of it as a log line holds
    };

    /// As many as there are keys for lights; of a longer list, those whose names come first as
    /// texts.
    static constexpr std::size_t kMaxLights = 256;
    /// Of Entry::styledText.
    static constexpr std::size_t kMaxStyledBytes = 1023;

    LightList() = default;
    /// `lights`: what the bridge gave for "lights"; what is no object lists nothing.
    explicit LightList(const Json::Value& lights);

    /// The entry whose name is `id` in decimal; null when there is none. Lives until the
    /// list is assigned to or ends.
    const Entry* find(int id) const;
    /// Sorted as texts: "10" comes before "2". They need not be numbers.
    std::vector<std::string> names() const;

  private:
    std::map<std::string, Entry> entries;
};
