/// The installation of a soak: lights of every class in turn, each with an object for every role
/// that it can have, as SQL for the database and as JSON descriptions for the bridge.
#pragma once

#include <string>

#include <json/value.h>

#include "simulator/process/TemporaryFolder.h"

namespace simulator {

/// Lights 1 to `count` (at most 255), copied from the sample lights.
Json::Value soak_lights(int count);
/// The tables for these lights, below the bridge object 100.
std::string soak_sql(const Json::Value& lights);

/// Both as temporary files; the destructor removes them.
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
