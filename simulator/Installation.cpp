#include "simulator/Installation.h"

#include <sstream>

#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"

namespace simulator {
namespace {

constexpr int kBridgeObject = 100;

constexpr struct {
    const char* name;
    const char* member;  // a light whose state has it can have the role
} kRoles[] = {{"on_off", "on"}, {"value", "bri"}, {"temperature", "ct"}, {"r", "hue"},
              {"g", "hue"},     {"b", "hue"},     {"hsv", "hue"}};

void add(std::ostream& sql, int parent, int id, const std::string& msp, const std::string& name,
         const std::string& role) {
    sql << "INSERT INTO vexad_object VALUES (" << id << ", '" << msp << "', '', '" << name << "');"
        << "INSERT INTO vexad_object_relation VALUES (" << parent << ", " << id << ", '" << role
        << "');\n";
}

}  // namespace

Installation Installation::load(const std::string& sql_file, const std::string& lights_file) {
    return {load_text_file(sql_file), load_json_file(lights_file)};
}

std::string Installation::file(const std::string& name) {
    return std::string(LUMIVAD_HOUSE_SAMPLES) + "/" + name;
}

Installation Installation::named(const std::string& name) {
    return load(file(name + "-house.sql"), file(name + "-lights.json"));
}

Installation Installation::of_lights(int count) {
    const Installation sample = named("sample");
    const Json::Value::Members names = sample.lights.getMemberNames();
    Json::Value lights(Json::objectValue);
    std::ostringstream sql;
    sql << sample.sql.substr(0, sample.sql.find("INSERT")) << "INSERT INTO vexad_object VALUES ("
        << kBridgeObject << ", '', 'ip_address=''" << Bridge::kAddress << "''|username=''" << kUser
        << "''', 'Bridge');\n";
    for (int number = 1; number <= count; ++number) {
        Json::Value light =
            sample.lights[names[static_cast<std::size_t>(number - 1) % names.size()]];
        const std::string text = std::to_string(number);
        light["name"] = "Light " + text;
        int object = 10000 + 10 * number;
        add(sql, kBridgeObject, object, text, "Light " + text, "");
        for (const auto& role : kRoles) {
            ++object;
            if (light["state"].isMember(role.member)) {
                add(sql, object / 10 * 10, object, "", "Light " + text + " " + role.name,
                    std::string("tag_complex_element=") + role.name);
            }
        }
        lights[text] = light;
    }
    return {sql.str(), lights};
}

}  // namespace simulator
