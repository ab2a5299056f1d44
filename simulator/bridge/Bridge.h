/// The simulated bridge: an HTTP server with the v1 REST interface, which keeps each light's state
/// as a bridge does, behind a gate that injects faults. It answers searches and can be paired with.
///
/// Thread-safe. One controlling thread injects the faults.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <json/value.h>

#include "simulator/bridge/BridgeLight.h"
#include "simulator/bridge/Gate.h"
#include "simulator/bridge/MulticastResponder.h"
#include "simulator/journal/Journal.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace simulator {

class Bridge final : public WithFaults<Bridge> {
  public:
    static constexpr const char* kAddress = "127.0.0.80";
    static constexpr int kHttpPort = 80;

    struct Setup {
        std::string username;  ///< empty for an unpaired bridge
        Json::Value lights;    ///< as a bridge sends them: descriptions by light id
        std::string address = kAddress;
    };

    /// One light: reads its state and changes it at the bulb. Valid as long as the bridge.
    class Bulb final {
      public:
        Bulb(Bridge& bridge, int id) : bridge_(bridge), id_(id) {}

        /// As a bridge sends it; null if the light does not exist.
        Json::Value description() const;
        Json::Value state() const { return description()["state"]; }
        /// A member of the state; null if it does not exist.
        Json::Value state(const std::string& member) const { return state()[member]; }
        std::string name() const { return description()["name"].asString(); }
        bool is_on() const { return state("on").asBool(); }

        /// Changes members of the state, as a wall switch or the maker's app does. Returns the
        /// bridge's answer, with an error element for each member that the light refuses; null if
        /// the light does not exist.
        Json::Value change(const Json::Value& members);
        void turn(bool on);

      private:
        Bridge& bridge_;
        int id_;
    };

    /// Listens; throws std::system_error if the address and port are taken or not allowed.
    explicit Bridge(const Setup& setup, EventSink sink = ignore_event);
    ~Bridge();

    Bulb light(int id) { return {*this, id}; }
    std::vector<int> light_ids() const;

    /// @name Discovery and pairing
    /// @{
    /// Announces and describes itself from now on as a bridge of this make: "old", "new",
    /// "mdns-only", or "hostile", which is a new one and a device that sends what no device
    /// should. Throws std::out_of_range for another name.
    void pose_as(const std::string& make);
    /// After `delay`, creates a user for every pairing request of 30 s.
    void press_link_button(std::chrono::milliseconds delay = {});
    /// @}

    /// @name More faults; each lasts for `times` requests, or until the next fault or recover()
    /// @{
    static constexpr int kForever = Fault::kForever;

    /// Sends this answer instead; the request has no effect. `status`: "200 OK".
    void send_answer(const std::string& status, const std::string& content_type,
                     const std::string& body, int times = kForever);
    void remove_light(int id);
    /// Ends every fault and restores removed lights.
    void recover();
    /// @}

    /// @name Requests seen
    /// @{
    std::vector<Gate::Request> requests() const { return gate_->requests(); }
    /// Number of requests with this method and this path after the user name ("/lights").
    int count(const std::string& method, const std::string& path) const;
    Gate& gate() { return *gate_; }
    /// @}

  private:
    friend WithFaults<Bridge>;

    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;
    using Route = std::function<Json::Value(const httplib::Request&, const Json::Value& body)>;
    using LightRoute = std::function<Json::Value(BridgeLight&, const Json::Value& body)>;

    static const Table& faults();
    SocketServer& server() { return gate_->server(); }
    void add_routes();
    Handler handler(const Route& route);
    Handler light_handler(const LightRoute& route);
    Json::Value descriptions() const;  // the mutex is held
    /// Null if the light does not exist.
    Json::Value use_light(int id, const std::function<Json::Value(BridgeLight&)>& use);
    Json::Value pair(const Json::Value& request);

    const std::string address_;
    EventSink sink_;
    mutable std::mutex mutex_;  // guards all before server_
    std::set<std::string> users_;
    std::string description_;  // description.xml
    std::string model_;
    std::chrono::steady_clock::time_point button_end_;  // pairs until then
    std::map<int, BridgeLight> lights_;
    std::map<int, BridgeLight> lost_lights_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    std::unique_ptr<Gate> gate_;
    std::vector<std::unique_ptr<MulticastResponder>> responders_;
};

using Bulb = Bridge::Bulb;

}  // namespace simulator
