/// The house's bridge: a real HTTP server with the v1 REST interface, which keeps each light's
/// state as a bridge does, behind a gate that can be told to fail. It can be found and paired with.
///
/// Thread-safe. The faults are switched by one controlling thread.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <json/value.h>

#include "simulator/BridgeIdentity.h"
#include "simulator/BridgeLight.h"
#include "simulator/BridgeUsers.h"
#include "simulator/Gate.h"
#include "simulator/Journal.h"
#include "simulator/SsdpResponder.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace simulator {

class Bridge final {
  public:
    static constexpr const char* kAddress = "127.0.0.80";
    static constexpr int kHttpPort = 80;

    struct Setup {
        std::string username;  ///< empty for a bridge that nobody has paired with
        Json::Value lights;    ///< as a bridge delivers them: an object of descriptions by light id
        std::string address = kAddress;
        int port = kHttpPort;
    };

    /// One light, for looking at and for changing at the bulb. Valid as long as the bridge is.
    class Bulb final {
      public:
        Bulb(Bridge& bridge, int id) : bridge_(bridge), id_(id) {}

        /// A member of the light's state; null when there is no such light or member.
        Json::Value state(const std::string& member) const;
        /// The whole state; null when there is no such light.
        Json::Value state() const;
        std::string name() const;
        bool is_on() const { return state("on").asBool(); }
        unsigned brightness() const { return state("bri").asUInt(); }
        unsigned temperature() const { return state("ct").asUInt(); }
        unsigned hue() const { return state("hue").asUInt(); }
        unsigned saturation() const { return state("sat").asUInt(); }

        /// Changes members of the state as a wall switch or the maker's app would; the bridge's
        /// answer, with an error element for what the light does not take.
        Json::Value changes(const Json::Value& members);
        void turns_on();
        void turns_off();

      private:
        Bridge& bridge_;
        int id_;
    };

    /// Listens; throws std::system_error when the address and port are taken or not allowed.
    explicit Bridge(const Setup& setup, EventSink sink = {});
    ~Bridge();

    Bulb light(int id) { return {*this, id}; }
    std::vector<int> light_ids() const;
    int port() const { return gate_->port(); }

    /// @name Being found and paired with
    /// @{
    /// False outside a private sandbox: a search does not reach it there.
    bool is_discoverable() const { return responder_ != nullptr; }
    static std::string serial_number() { return kBridgeSerialNumber; }
    /// From now on every search is answered this too, first of all; one datagram, whatever it is.
    void announces(const std::string& raw_answer);
    /// From now on /description.xml is this.
    void describes_itself_as(const std::string& xml);
    /// For 30 s, whoever asks becomes a user.
    void presses_link_button();
    /// @}

    /// @name Faults; each holds for so many connections, or until the next one or recovers()
    /// @{
    void refuses() { gate_->refuses(); }
    /// A connection neither opens nor fails.
    void hangs() { gate_->hangs(); }
    void drops_connections(int times = Gate::kForever) { gate_->fails(Gate::Fault::reset, times); }
    void stalls(int times = Gate::kForever) { gate_->fails(Gate::Fault::stall, times); }
    void stalls_in_header(int times = Gate::kForever);
    void stalls_in_body(int times = Gate::kForever);
    void sends_half(int times = Gate::kForever) { gate_->fails(Gate::Fault::half, times); }
    void sends_slowly(int times = Gate::kForever) { gate_->fails(Gate::Fault::slow, times); }
    void sends_slowly(std::chrono::milliseconds pause) { gate_->answers_slowly(pause); }
    /// Bytes that are no HTTP.
    void sends_garbage(int times = Gate::kForever);
    /// A page with status 503.
    void sends_html(int times = Gate::kForever);
    /// A good header and this body.
    void sends_body(const std::string& body, int times = Gate::kForever);
    /// Takes nobody for its user any more.
    void forgets_users() { is_forgetful_ = true; }
    void loses_light(int id);
    /// Ends every fault, and has every light again.
    void recovers();
    /// @}

    /// @name What it saw
    /// @{
    std::vector<Gate::Request> requests() const { return gate_->requests(); }
    /// How many requests of this method had this path behind a user's name ("/lights").
    int count(const std::string& method, const std::string& path) const;
    Gate& gate() { return *gate_; }
    /// @}

  private:
    void answer(const httplib::Request& request, httplib::Response& response);
    Json::Value route(const std::string& method, const std::string& path, const std::string& body);
    Json::Value route_lights(const std::string& method, const std::vector<std::string>& parts,
                             const std::string& body);
    Json::Value lights_json() const;

    EventSink sink_;
    mutable std::mutex mutex_;  // guards users_, description_ and the lights
    BridgeUsers users_;
    std::string description_;
    std::map<int, BridgeLight> lights_;
    std::map<int, BridgeLight> lost_lights_;
    std::atomic<bool> is_forgetful_{false};
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    std::unique_ptr<Gate> gate_;
    std::unique_ptr<SsdpResponder> responder_;
};

using Bulb = Bridge::Bulb;

}  // namespace simulator
