// What is stored of a bridge's answers: everything that is read later, with a bounded size.
#include <cstddef>

#include <malloc.h>

#include "huelib/Hue.h"
#include "tests/huelib/TestLight.h"
#include "tests/support/SystemLogTest.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// From the sanitizers' run-time library; gcc does not install the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace {

std::size_t heap_in_use() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

// A description with very many members, most of which are never read.
Json::Value huge_description() {
    Json::Value description = description_with("{}");
    Json::Value& state = description["state"];
    for (int i = 0; i < 2000; ++i) {
        description["a" + std::to_string(i)] = state["a" + std::to_string(i)] = i;
        state["xy"].append(i);
    }
    for (const char* name : {"name", "uniqueid", "extra", "effect", "mode"}) {
        description[name] = state[name] = std::string(50000, 'x');
    }
    state["reachable"] = Json::Value(description);
    return description;
}

class KeptAnswers : public SystemLogTest {
  protected:
    std::shared_ptr<ScriptedHttpHandler> bridge_ = std::make_shared<ScriptedHttpHandler>();
    Hue hue_{"bridge", ScriptedHttpHandler::kUser, bridge_};
};

TEST_F(KeptAnswers, DoNotGrowWithTheSizeOfAnAnswer) {
    constexpr int kLights = 6;
    for (int id = 1; id <= kLights; ++id) {
        bridge_->set_light(id, description_with("{}"));
        hue_.getLight(id);
    }
    const std::size_t before = heap_in_use();
    {
        Json::Value root;
        for (int id = 1; id <= kLights; ++id) {
            const std::string name = std::to_string(id);
            root["lights"][name] = huge_description();
            bridge_->add_answer("GET", root["lights"][name].toStyledString());
            hue_.getLight(id);
        }
        bridge_->add_answer("GET", root["lights"].toStyledString());
        hue_.refreshLights();
        for (int id = 0; id < 3000; ++id) {
            Json::Value& light = root["lights"][std::to_string(id)];
            light["capabilities"]["control"]["colorgamuttype"] = std::string(3000, 'g');
            light["modelid"] = light["type"] = std::string(3000, 'm');
        }
        bridge_->add_answer("GET", root.toStyledString());
        hue_.refreshState();
    }
    bridge_->commands();  // clears the recorded requests
    log_.clear();
    // A list of 256 lights with the beginning of each, and what the lights store.
    EXPECT_LT(heap_in_use(), before + std::size_t{600000});
    EXPECT_TRUE(std::as_const(hue_).lightExists(1));
}

TEST_F(KeptAnswers, HoldEverythingThatIsReadAndAreLoggedWhole) {
    const Json::Value sent = *simulator::parse_json(R"({
        "state": {"on": true, "bri": 1, "hue": 2, "sat": 3, "ct": 4, "xy": [0.5, 0.25, 7],
                  "effect": "colorloop", "colormode": "xy", "reachable": false},
        "type": "a", "name": 5, "modelid": "LCT001", "swversion": "b", "uniqueid": "c",
        "manufacturername": "d", "productname": "e", "luminaireuniqueid": "f", "extra": {}})");
    bridge_->set_light(3, sent);
    const HueLight& light = hue_.getLight(3);
    EXPECT_TRUE(logged("Hue->getLight(3) - state: " + sent.toStyledString()));
    EXPECT_EQ(light.getType() + light.getName() + light.getModelId() + light.getSwVersion() +
                  light.getUId() + light.getManufacturername() + light.getProductname() +
                  light.getLuminaireUId(),
              "a5LCT001bcdef");
    EXPECT_EQ(simulator::compact_json(light.getState()["state"]),
              R"({"bri":1,"colormode":"xy","ct":4,"effect":"colorloop","hue":2,"on":true,)"
              R"("reachable":false,"sat":3,"xy":[0.5,0.25]})");
}

}  // namespace
