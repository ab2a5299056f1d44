/// What the daemon's light table must hold, worked out from what the daemon was asked and answered:
/// so what it has to send for a command, and to report after a poll.
///
/// Belongs to the ledger, which guards it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "hue_handler/HueLightState.h"
#include "huelib/HSVColor.h"
#include "simulator/Core.h"
#include "simulator/House.h"

namespace simulator {

enum class Role { on_off, value, temperature, r, g, b, hsv };

struct SoakCommand {
    int object;
    int value;
};

class SoakShadow final {
  public:
    struct Place {
        int light;
        Role role;
    };

    /// A role that is none of the seven is left out.
    explicit SoakShadow(const std::vector<House::RoleObject>& objects);

    const std::map<int, Place>& places() const { return places_; }
    const Place& place(const SoakCommand& command) const { return places_.at(command.object); }

    /// The daemon's first look at a light.
    void reads(int light, const Json::Value& description);
    /// A later look: what the next request is compared with.
    void refreshes(int light, const Json::Value& description);

    /// True when the light is asked for its state before the command.
    bool asks_first(const SoakCommand& command) const;
    /// The body of the PUT; nothing when the light shows already what the command wants.
    std::optional<Json::Value> wanted(const SoakCommand& command) const;
    /// What the daemon stores once the command was sent.
    void carries_out(const SoakCommand& command);

    /// A poll with this answer, which led to these reports. `was_cut`: the daemon gave up after the
    /// last of them, and leaves the rest to the next poll. Empty, or what is wrong with them.
    std::string polls(const Json::Value& lights, const std::vector<Core::Report>& told,
                      bool was_cut);

  private:
    struct Entry {
        hue_handler::HueLightState stored;
        Json::Value seen;  // the state of the last description
    };
    class Reports;

    static bool report_light(Entry& entry, Reports& reports);
    static bool report_rgb(Entry& entry, Reports& reports);
    static bool report_hsv(Entry& entry, Reports& reports);
    hue_handler::HueLightState with_channel(const SoakCommand& command) const;

    std::map<int, Place> places_;  // by object
    std::map<int, Entry> lights_;
};

}  // namespace simulator
