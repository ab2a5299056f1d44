/// An installation in the controller's database, read by the daemon's own functions.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Finding.h"
#include "hue_handler/BridgeObject.h"
#include "hue_handler/LightTable.h"

namespace huectl {

/// An object below the bridge object.
struct LightObject {
    int id;
    std::string msp;           ///< as the database has it
    std::optional<int> light;  ///< nothing if msp is not a number in 1..255
};

/// An object below a light object.
struct Relation {
    int light;
    int object;
    std::string optional;
};

struct Installation {
    int object = 0;                    ///< of the bridge
    hue_handler::BridgeObject bridge;  ///< its optional parameters
    std::vector<LightObject> lights;   ///< in the order of their IDs
    std::vector<Relation> relations;   ///< of the rows that the daemon reads, in their order
    hue_handler::LightTable table;     ///< as in the daemon
    bool has_bridge = false;           ///< the object exists and has the required parameters
    bool has_table = false;            ///< lights, relations and table were read

    /// The numbers of the lights that the installation has, with an object for a role or without.
    std::set<int> light_numbers() const;
};

/// Sends three queries to the database service on 127.0.0.1; each blocks for at most
/// DBMANAGER_EXCHANGE_SECONDS. What is missing, and each row that the daemon would skip, is added
/// to `findings`. After a query without an answer, and for an unknown object, the rest is empty.
Installation read_installation(int object, Findings& findings);

}  // namespace huectl
