// huectl discover: which bridges are there.
#include <chrono>
#include <future>
#include <memory>
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

constexpr const char* kByHand = "give the address by hand: huectl pair ADDRESS";
constexpr std::chrono::milliseconds kRedrawPeriod{100};

using Bridges = std::vector<HueFinder::HueIdentification>;

// One device whose description cannot be read ends the search.
Bridges search_network() {
    Bridges found;
    talk_to(
        "the network, or a device that calls itself a bridge,",
        [&] { found = HueFinder(std::make_shared<LinHttpHandler>()).FindBridges(); },
        std::string("search again, or ") + kByHand);
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
