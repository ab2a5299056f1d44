/// The lights that a bridge lists, with what later operations need.
///
/// Part of the bridge object, whose caller guards it. Its size is bounded for any answer.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <json/value.h>

class LightList final {
  public:
    /// What is stored of one light.
    struct Entry {
        /// Empty if the bridge sends none; at most 256 bytes each.
        std::string modelId;
        std::string type;
        std::string gamut;       ///< "capabilities.control.colorgamuttype"
        std::string styledText;  ///< the entry as indented JSON, cut to kMaxStyledBytes
    };

    /// One for each key of a light. Of a longer list, those with the first names in text order are
    /// stored.
    static constexpr std::size_t kMaxLights = 256;
    /// The size of a log line.
    static constexpr std::size_t kMaxStyledBytes = 1023;

    /// An empty list.
    LightList() = default;
    /// `lights`: the member "lights" of an answer; the list is empty if that is not an object.
    explicit LightList(const Json::Value& lights);

    /// The entry whose name is `id` in decimal; null if it is missing. Valid until the list is
    /// assigned to or destroyed.
    const Entry* find(int id) const;
    /// Sorted as text: "10" comes before "2". A bridge may send names that are not numbers.
    std::vector<std::string> names() const;

  private:
    std::map<std::string, Entry> entries;
};
