/// The installation of a soak: so many lights of every class in turn, each with an object for every
/// role that it can have, as SQL for the database and as descriptions for the bridge.
#pragma once

#include <string>

#include <json/value.h>

#include "simulator/TemporaryFolder.h"

namespace simulator {

/// Lights 1 to `count` (at most 255), made after the sample installation's.
Json::Value soak_lights(int count);
/// The tables for these lights, below the bridge object 100.
std::string soak_sql(const Json::Value& lights);

/// Both as files, which go with this.
class SoakInstallation final {
  public:
    /// Throws std::exception when the files cannot be written.
    explicit SoakInstallation(int count);

    std::string sql_file() const { return folder_.path() / "house.sql"; }
    std::string lights_file() const { return folder_.path() / "lights.json"; }

  private:
    TemporaryFolder folder_;
};

}  // namespace simulator
