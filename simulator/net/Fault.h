/// Faults of a simulated service, and the tables that name them for scripts. Stateless.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "simulator/net/Connection.h"

namespace simulator {

class SocketServer;

/// Replaces the sending of an answer, or is a fault of the server's listening socket.
struct Fault {
    /// Gets the connection and the answer that would be sent.
    std::function<void(Connection&, const std::string& answer)> send;
    bool is_carried_out = true;  ///< false: the request has no effect, and the answer is empty
    std::string meaning = {};    ///< for the journal: "stalls"
    void (SocketServer::*listener)() = nullptr;  ///< instead of all that: &SocketServer::refuse

    static constexpr int kForever = -1;
};

inline Fault listener_fault(void (SocketServer::*listener)()) {
    return {{}, true, {}, listener};
}
/// Reads the request and never answers, until the service recovers.
inline Fault silence() {
    return {[](Connection& peer, const std::string&) { peer.hold(); }, false, "stalls"};
}
inline Fault reset_connection() {
    return {[](Connection& peer, const std::string&) { peer.reset(); }, false,
            "resets the connection"};
}
/// Sends other bytes instead of the answer.
inline Fault send_instead(const std::string& bytes, const std::string& meaning = "sends garbage") {
    return {[bytes](Connection& peer, const std::string&) { peer.write(bytes); }, false, meaning};
}
/// Sends what `change` makes of the answer. `stalls`: keeps the connection open afterwards.
inline Fault changed(const std::function<std::string(const std::string&)>& change,
                     const std::string& meaning = "", bool stalls = false) {
    return {[change, stalls](Connection& peer, const std::string& answer) {
                peer.write(change(answer));
                if (stalls) {
                    peer.hold();
                }
            },
            true, meaning};
}
/// Sends byte by byte, with a pause after each.
inline Fault slowness(std::chrono::milliseconds pause) {
    return {[pause](Connection& peer, const std::string& a) { peer.write_slowly(a, pause); }, true,
            "answers byte by byte"};
}

/// The base of a service with a table of faults by name, Service::faults(), for scripts.
template <typename Service>
class WithFaults {
  public:
    /// `times`: number of requests, for a fault of answers, which replaces an earlier one and ends
    /// a fault of the listener. Other faults last until recover().
    /// Throws std::out_of_range for a name that is not one of fault_names().
    void inject_fault(const std::string& name, int times = Fault::kForever) {
        static_cast<Service&>(*this).server().inject_fault(Service::faults().at(name), times);
    }
    /// Ends every fault.
    void recover() { static_cast<Service&>(*this).server().recover(); }
    static std::vector<std::string> fault_names() {
        std::vector<std::string> names;
        for (const auto& [name, fault] : Service::faults()) {
            names.push_back(name);
        }
        return names;
    }

  protected:
    using Table = std::map<std::string, Fault>;
};

}  // namespace simulator
