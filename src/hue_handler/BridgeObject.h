/// What the database says of a bridge object: the parameters by which the daemon reaches a bridge.
///
/// Filled from the rows of the database service; needs neither a bridge nor a running daemon. The
/// format is in docs/formats/optional-parameters.md. It has no lock: the owner guards it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hue_handler {

struct BridgeObject {
    /// Host name or dotted IPv4 address, and user name registered on the bridge. Not checked.
    /// Empty without a row: the daemon then runs without a bridge.
    std::string ip_address;
    std::string username;
    /// What to do with lights whose model is unknown; nothing if the parameter is missing.
    std::optional<std::string> unknown_models;

    /// Whether such lights are driven by their type, and whether the value is not a valid one.
    bool drives_unknown_models() const { return unknown_models == kByType; }
    bool has_invalid_unknown_models() const { return unknown_models && !drives_unknown_models(); }

    /// The statement that selects the rows of an object, normally one.
    static std::string query(std::uint32_t id);

    /// Reads the column "optionalp" of a row; a later row replaces the values of an earlier one.
    /// Returns the names of the required parameters that are missing or no text, "username" first;
    /// the object is complete if there are none.
    std::vector<const char*> read(const std::string& optionalp);

    /// The only value of unknown_models.
    static constexpr const char* kByType = "by_type";
    /// The daemon uses so many bytes of each of the other two.
    static constexpr std::size_t kParameterBytes = 128;
};

}  // namespace hue_handler
