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

namespace huectl {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kSearchPeriod{5};
constexpr std::chrono::milliseconds kRedrawPeriod{100};

std::vector<HueFinder::HueIdentification> find_bridges() {
    const HueFinder finder(std::make_shared<LinHttpHandler>());
    ProgressLine progress;
    const auto end = steady_clock::now() + kSearchPeriod;
    auto search = std::async(std::launch::async, [&] { return finder.FindBridges(); });
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
    std::vector<HueFinder::HueIdentification> bridges;
    talk_to("the network or a device that answered the search", [&] { bridges = find_bridges(); });
    if (bridges.empty()) {
        throw Failure(ExitCode::refused,
                      "no bridge was found; bridges of newer make are never found, give the "
                      "address by hand: huectl pair ADDRESS");
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
