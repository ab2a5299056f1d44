#include "simulator/SoakInstallation.h"

#include <fstream>
#include <sstream>

#include "simulator/House.h"
#include "simulator/JsonText.h"
#include "simulator/bridge/Bridge.h"

namespace simulator {
namespace {

constexpr int kBridgeObject = 100;
constexpr int kFirstLightObject = 10000;
constexpr int kObjectsOfALight = 10;

// The place in the table is the last digit of the object.
constexpr struct {
    const char* name;
    const char* member;  // a light whose state has it can have the role
} kRoles[] = {{"on_off", "on"}, {"value", "bri"}, {"temperature", "ct"}, {"r", "hue"},
              {"g", "hue"},     {"b", "hue"},     {"hsv", "hue"}};

constexpr const char* kTables =
    "CREATE TABLE vexad_object (id INTEGER PRIMARY KEY, msp TEXT, optionalp TEXT, name TEXT);"
    "CREATE TABLE vexad_object_relation (parentobj_id INTEGER, childobj_id INTEGER, optional "
    "TEXT);";

void add_object(std::ostream& sql, int id, const std::string& msp, const std::string& optional,
                const std::string& name) {
    sql << "INSERT INTO vexad_object VALUES (" << id << ", '" << msp << "', \"" << optional
        << "\", '" << name << "');\n";
}

void add_relation(std::ostream& sql, int parent, int child, const std::string& optional) {
    sql << "INSERT INTO vexad_object_relation VALUES (" << parent << ", " << child << ", \""
        << optional << "\");\n";
}

void add_light(std::ostream& sql, const std::string& number, const Json::Value& light) {
    const int object = kFirstLightObject + kObjectsOfALight * std::stoi(number);
    const std::string name = light["name"].asString();
    add_object(sql, object, number, "", name);
    add_relation(sql, kBridgeObject, object, "");
    int child = object;
    for (const auto& role : kRoles) {
        ++child;
        if (light["state"].isMember(role.member)) {
            add_object(sql, child, "", "", name + " " + role.name);
            add_relation(sql, object, child,
                         std::string("tag_complex_element='") + role.name + "'");
        }
    }
}

}  // namespace

Json::Value soak_lights(int count) {
    const Json::Value samples = load_json_file(House::sample_lights());
    const Json::Value::Members names = samples.getMemberNames();
    Json::Value lights(Json::objectValue);
    for (int number = 1; number <= count; ++number) {
        const std::size_t sample = static_cast<std::size_t>(number - 1) % names.size();
        Json::Value light = samples[names[sample]];
        light["name"] = "Light " + std::to_string(number);
        lights[std::to_string(number)] = light;
    }
    return lights;
}

std::string soak_sql(const Json::Value& lights) {
    std::ostringstream sql;
    sql << kTables;
    add_object(sql, kBridgeObject, "",
               std::string("ip_address='") + Bridge::kAddress + "'|username='soaked-user'",
               "Bridge");
    for (const std::string& number : lights.getMemberNames()) {
        add_light(sql, number, lights[number]);
    }
    return sql.str();
}

SoakInstallation::SoakInstallation(int count) {
    const Json::Value lights = soak_lights(count);
    std::ofstream(lights_file()) << compact_json(lights);
    std::ofstream(sql_file()) << soak_sql(lights);
}

}  // namespace simulator
