/// Faults of a simulated service, and the tables that name them for scripts.
///
/// A fault replaces the sending of an answer. Stateless.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/net/Connection.h"

namespace simulator {

struct Fault {
    std::string meaning;  ///< for the journal: "stalls"
    bool is_carried_out;  ///< false: the request has no effect
    /// Gets the connection and the answer that would be sent; empty if the request has no effect.
    std::function<void(Connection&, const std::string& answer)> send;

    static constexpr int kForever = -1;
};

/// Reads the request and never answers, until the service recovers.
inline Fault silence() {
    return {"stalls", false, [](Connection& peer, const std::string&) { peer.hold(); }};
}
inline Fault reset_connection() {
    return {"resets the connection", false,
            [](Connection& peer, const std::string&) { peer.reset(); }};
}
/// Sends other bytes instead of the answer.
inline Fault send_instead(const std::string& bytes, const std::string& meaning = "sends garbage") {
    return {meaning, false, [bytes](Connection& peer, const std::string&) { peer.write(bytes); }};
}
/// Sends byte by byte, with a pause after each.
inline Fault slowness(std::chrono::milliseconds pause) {
    return {"answers byte by byte", true, [pause](Connection& peer, const std::string& answer) {
                peer.write_slowly(answer, pause);
            }};
}

/// A row of a service's table: injects the fault for a number of connections.
template <typename Service>
struct NamedFault {
    const char* name;
    std::function<void(Service&, int times)> inject;
};
template <typename Service>
using FaultTable = std::vector<NamedFault<Service>>;

template <typename Service>
std::vector<std::string> names_of(const FaultTable<Service>& table) {
    std::vector<std::string> names;
    for (const NamedFault<Service>& fault : table) {
        names.emplace_back(fault.name);
    }
    return names;
}

/// Throws std::invalid_argument if the table has no such fault.
template <typename Service>
void inject_by_name(const FaultTable<Service>& table, Service& service, const std::string& name,
                    int times = Fault::kForever) {
    for (const NamedFault<Service>& fault : table) {
        if (name == fault.name) {
            return fault.inject(service, times);
        }
    }
    throw std::invalid_argument("unknown fault: " + name);
}

}  // namespace simulator
