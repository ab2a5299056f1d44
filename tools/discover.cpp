// huectl discover: lists the bridges of the local network.
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BridgeSession.h"
#include "Commands.h"
#include "Failure.h"
#include "ProgressLine.h"
#include "Text.h"
#include "huelib/HueFinder.h"
#include "huelib/LinHttpHandler.h"
#include "huelib/UPnP.h"

namespace huectl {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLastRequest{20};  // after the start
constexpr const char* kByHand = "look up the address in the router and run huectl pair ADDRESS";

using Bridges = std::vector<HueFinder::HueIdentification>;

// Reads the devices' descriptions. The library's search would end at the first device that cannot
// be read; here such a device has an empty description, which is not a bridge's, and its Failure
// goes to `on_failure`. Each address is asked once, with short limits, and only until kLastRequest,
// so the search ends whatever answers it.
class DiscoveryHttpHandler final : public LinHttpHandler {
  public:
    using OnFailure = std::function<void(const Failure&)>;

    explicit DiscoveryHttpHandler(OnFailure on_failure) : on_failure_(std::move(on_failure)) {}

    std::string sendGetHTTPBody(const std::string& msg, const std::string& adr,
                                int port) const override {
        std::string description;
        if (steady_clock::now() > last_request_ || !asked_.insert(adr).second) {
            return description;
        }
        try {
            talk_to(
                printable(adr, kShownCharacters),
                [&] { description = LinHttpHandler::sendGetHTTPBody(msg, adr, port); },
                std::string("search again, or ") + kByHand);
        } catch (const Failure& failure) {
            on_failure_(failure);
        }
        return description;
    }
    std::string send(const std::string& msg, const std::string& adr, int port) const override {
        return exchange(msg, adr, port, kLimits);
    }

  private:
    static constexpr std::size_t kShownCharacters = 60;
    static constexpr Limits kLimits{std::chrono::seconds(3), std::chrono::seconds(3),
                                    std::size_t{64} << 10};

    OnFailure on_failure_;
    steady_clock::time_point last_request_ = steady_clock::now() + kLastRequest;
    mutable std::set<std::string> asked_;
};

Bridges search_network() {
    std::optional<Failure> first_failure;
    const auto transport = std::make_shared<DiscoveryHttpHandler>([&](const Failure& failure) {
        if (!first_failure) {
            first_failure = failure;
        }
    });
    Bridges found;
    talk_to(
        "the network", [&] { found = HueFinder(transport).FindBridges(); },
        std::string("check the network cable, or ") + kByHand);
    if (found.empty() && first_failure) {
        throw Failure(*first_failure);
    }
    return found;
}

Bridges find_bridges() {
    const auto text = [](long long seconds_left) {
        return seconds_left > 0
                   ? "Searching for bridges: " + std::to_string(seconds_left) + " s left"
                   : "Reading the device descriptions";
    };
    Bridges found;
    ProgressLine().count_down(UPnP::kListenPeriod, text, [&] { found = search_network(); });
    return found;
}

}  // namespace

Result discover() {
    const Bridges bridges = find_bridges();
    if (bridges.empty()) {
        throw Failure(
            ExitCode::refused,
            std::string("no bridge was found (newer bridges are never found); ") + kByHand);
    }
    Result result;
    std::vector<Row> rows = {{"address", "serial number"}};
    for (const auto& [address, serial] : bridges) {
        rows.push_back({address, serial});
        Json::Value bridge;
        bridge["address"] = address;
        bridge["serial"] = serial;
        result.json["bridges"].append(bridge);
    }
    result.text = table(rows);
    return result;
}

}  // namespace huectl
