/// Search for devices on the local network by SSDP (Simple Service Discovery Protocol).
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "huelib/IHttpHandler.h"

class UPnP {
  public:
    /// How long a search listens for answers.
    static constexpr std::chrono::seconds kListenPeriod{5};

    /// Returns what the devices announce: the LOCATION of their description and their SERVER text,
    /// each pair once, in order of first arrival. Only keys in capitals are read, as bridges write
    /// them; an answer that lacks one of the two is skipped.
    ///
    /// Blocks for kListenPeriod and uses a full CPU core. The handler must not be null. Exceptions
    /// of the transport propagate.
    static std::vector<std::pair<std::string, std::string>> getDevices(
        const std::shared_ptr<const IHttpHandler>& handler);
};
