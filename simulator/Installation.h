/// An installation: the tables of the database and the lights of the bridge.
#pragma once

#include <string>

#include <json/value.h>

namespace simulator {

struct Installation {
    std::string sql;
    Json::Value lights;  ///< descriptions by number, as a bridge sends them

    /// From files. Throws std::runtime_error with the file's name and the fault.
    static Installation load(const std::string& sql_file, const std::string& lights_file);
    /// `count` lights (1 to 255), copies of the sample lights in turn, each with an object for
    /// every role that it can have: object 10000 + 10 * number + role, the roles in the order
    /// on_off, value, temperature, r, g, b, hsv, from 1. The bridge is object 100.
    static Installation of_lights(int count);
    /// The installation in the files NAME-house.sql and NAME-lights.json of this folder.
    static Installation named(const std::string& name);
    /// The path of a file in this folder: "sample-house.sql".
    static std::string file(const std::string& name);

    static constexpr const char* kUser = "simulated-house-user";
};

}  // namespace simulator
