/// What the database says of a bridge object: the parameters by which the daemon reaches a bridge.
///
/// Filled from the rows of the database service; needs neither a bridge nor a running daemon. The
/// format is in docs/formats/optional-parameters.md. It has no lock: the owner guards it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hue_handler {

struct BridgeObject {
    /// Host name or dotted IPv4 address, and user name registered on the bridge. Not checked; at
    /// most kParameterBytes each. Empty without a row: the daemon then runs without a bridge.
    std::string ip_address;
    std::string username;

    /// The statement that selects the rows of an object, normally one.
    static std::string query(std::uint32_t id);

    /// Reads the column "optionalp" of a row; a later row replaces the values of an earlier one.
    /// Returns the names of the required parameters that are missing or no text, "username" first;
    /// the object is complete if there are none.
    std::vector<const char*> read(const std::string& optionalp);

    /// A longer value is cut.
    static constexpr std::size_t kParameterBytes = 128;
};

}  // namespace hue_handler
