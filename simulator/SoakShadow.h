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
#include "simulator/House.h"
#include "simulator/core/Core.h"

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

    /// Ignores objects whose role is not one of the seven.
    explicit SoakShadow(const std::vector<House::RoleObject>& objects);

    const std::map<int, Place>& places() const { return places_; }
    const Place& place(const SoakCommand& command) const { return places_.at(command.object); }

    /// The first state that the daemon reads of a light.
    void set_initial_state(int light, const Json::Value& description);
    /// A later state; the next request is compared with it.
    void refresh(int light, const Json::Value& description);

    /// True when the daemon reads the light's state before it carries out the command.
    bool needs_refresh(const SoakCommand& command) const;
    /// The body of the PUT; nothing when the light has the commanded state already.
    std::optional<Json::Value> expected_request(const SoakCommand& command) const;
    /// Updates what the daemon stores once the command was sent.
    void apply(const SoakCommand& command);

    /// Checks the reports of a poll that had this answer. Returns the first fault, or an empty
    /// text. `was_cut`: the daemon stopped after the last report and leaves the rest to the next
    /// poll.
    std::string check_poll(const Json::Value& lights, const std::vector<Core::Report>& reports,
                           bool was_cut);

  private:
    struct Entry {
        hue_handler::HueLightState stored;
        Json::Value seen;  // the state of the last description
    };
    class ReportCheck;

    static bool report_light(Entry& entry, ReportCheck& reports);
    static bool report_rgb(Entry& entry, ReportCheck& reports);
    static bool report_hsv(Entry& entry, ReportCheck& reports);
    hue_handler::HueLightState with_channel(const SoakCommand& command) const;

    std::map<int, Place> places_;  // by object
    std::map<int, Entry> lights_;
};

}  // namespace simulator
