// huectl discover: which bridges are there.
#include <chrono>
#include <future>
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

constexpr std::chrono::seconds kLastQuestion{20};  // after the start
constexpr const char* kByHand = "give the address by hand: huectl pair ADDRESS";
constexpr std::chrono::milliseconds kRedrawPeriod{100};

using Bridges = std::vector<HueFinder::HueIdentification>;

// The library's search ends at the first device that cannot be read, but one such device must not
// hide the bridges that can: here it counts as no bridge, and is remembered. Each address is asked
// once and briefly, and nobody when the time is over, so that the search ends whoever answers it.
class DiscoveryHttpHandler final : public LinHttpHandler {
  public:
    std::string GETString(std::string uri, std::string content_type, std::string body,
                          const std::string& adr, int port) const override {
        std::string description;
        if (steady_clock::now() > last_question_ || !asked_.insert(adr).second) {
            return description;
        }
        try {
            talk_to(
                printable(adr, kShownCharacters),
                [&] {
                    description = LinHttpHandler::GETString(std::move(uri), std::move(content_type),
                                                            std::move(body), adr, port);
                },
                std::string("search again, or ") + kByHand);
        } catch (const Failure& failure) {
            if (!problem_) {
                problem_ = failure;
            }
        }
        return description;
    }
    std::string send(const std::string& msg, const std::string& adr, int port) const override {
        return exchange(msg, adr, port, kLimits);
    }
    /// The first device that could not be read.
    const std::optional<Failure>& problem() const { return problem_; }

  private:
    static constexpr std::size_t kShownCharacters = 60;
    static constexpr Limits kLimits{std::chrono::seconds(3), std::chrono::seconds(3),
                                    std::size_t{64} << 10};

    steady_clock::time_point last_question_ = steady_clock::now() + kLastQuestion;
    mutable std::set<std::string> asked_;
    mutable std::optional<Failure> problem_;
};

Bridges search_network() {
    const auto transport = std::make_shared<DiscoveryHttpHandler>();
    Bridges found;
    talk_to(
        "the network", [&] { found = HueFinder(transport).FindBridges(); },
        std::string("check the network cable, or ") + kByHand);
    if (found.empty() && transport->problem()) {
        throw Failure(*transport->problem());
    }
    return found;
}

Bridges find_bridges() {
    ProgressLine progress;
    const auto end = steady_clock::now() + UPnP::kListenPeriod;
    auto search = std::async(std::launch::async, search_network);
    do {
        const auto left = std::chrono::ceil<std::chrono::seconds>(end - steady_clock::now());
        progress.show(left.count() > 0
                          ? "Searching for bridges: " + std::to_string(left.count()) + " s left"
                          : "Reading what the devices tell of themselves");
    } while (search.wait_for(kRedrawPeriod) != std::future_status::ready);
    return search.get();
}

}  // namespace

Result discover() {
    const Bridges bridges = find_bridges();
    if (bridges.empty()) {
        throw Failure(
            ExitCode::refused,
            std::string("no bridge was found; bridges of newer make are never found, ") + kByHand);
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
