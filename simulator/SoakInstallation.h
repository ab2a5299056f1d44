/// The installation of a soak: so many lights of every class in turn, each with an object for every
/// role that it can have, as SQL for the database and as descriptions for the bridge.
#pragma once

#include <string>

#include <json/value.h>

namespace simulator {

/// Lights 1 to `count` (at most 255), made after the sample installation's.
Json::Value soak_lights(int count);
/// The tables for these lights, below the bridge object 100.
std::string soak_sql(const Json::Value& lights);

/// Both as files in a folder of their own, which goes with this.
class SoakInstallation final {
  public:
    /// Throws std::exception when the files cannot be written.
    explicit SoakInstallation(int count);
    ~SoakInstallation();
    SoakInstallation(const SoakInstallation&) = delete;
    SoakInstallation& operator=(const SoakInstallation&) = delete;

    std::string sql_file() const { return folder_ + "/house.sql"; }
    std::string lights_file() const { return folder_ + "/lights.json"; }

  private:
    std::string folder_;
};

}  // namespace simulator
