#include "simulator/bridge/Bridge.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <httplib.h>

#include "simulator/JsonText.h"
#include "simulator/bridge/SearchAnswers.h"

namespace simulator {
namespace {

using httplib::Request;

constexpr std::chrono::milliseconds kSlowPause{1};
constexpr std::chrono::seconds kButtonTime{30};
constexpr std::size_t kLongestDeviceType = 40;
constexpr std::size_t kNameLength = 40;
// The first group of a pattern is the user, the second the light.
const std::string kUser = "/api/([^/]+)";
const std::string kLight = kUser + "/lights/([1-9]\\d*)";
constexpr const char* kHeaderEnd = "\r\n\r\n";
constexpr const char* kPage = "<html><body><h1>503 Service Unavailable</h1></body></html>";

constexpr const char* kId = "001788FFFE0AE670";
constexpr const char* kNewServer =
    "Hue/1.0 UPnP/1.0 IpBridge/1.62.0\nhue-bridgeid: 001788FFFE0AE670";
constexpr const char* kHostileAddress = "127.0.0.99";

struct Make {
    const char* model;
    const char* manufacturer;
    const char* manufacturer_url;
    const char* server;  // in answers by SSDP, and headers after it; empty for none
    bool has_mdns;
    bool is_hostile;
};
const std::map<std::string, Make> kMakes = {
    {"old",
     {"BSB001", "Royal Philips Electronics", "http://www.philips.com",
      "Linux/3.14.0 UPnP/1.0 IpBridge/1.20.0", false, false}},
    {"new", {"BSB002", "Signify", "http://www.philips-hue.com", kNewServer, true, false}},
    {"mdns-only", {"BSB002", "Signify", "http://www.philips-hue.com", "", true, false}},
    {"hostile", {"BSB002", "Signify", "http://www.philips-hue.com", kNewServer, true, true}},
};

Json::Value only(Json::Value element) {
    Json::Value answer(Json::arrayValue);
    answer.append(std::move(element));
    return answer;
}

Json::Value only_error(BridgeError type, const std::string& address,
                       const std::string& description) {
    return only(bridge_error(type, address, description));
}

Json::Value unauthorized() {
    return only_error(BridgeError::unauthorized, "/", "unauthorized user");
}

Json::Value not_available(const Request& request) {
    const std::string resource = Gate::without_user(request.path);
    return only_error(BridgeError::resource_not_available, resource,
                      "resource, " + resource + ", not available");
}

void respond(httplib::Response& response, const Json::Value& answer) {
    response.status = 200;
    response.set_content(compact_json(answer), "application/json");
}

// A file in the folder of this one, with the words of the make and the address of the bridge.
std::string load_own_file(const std::string& name, const Make& make, const std::string& address) {
    std::string text = load_text_file(std::string(LUMIVAD_BRIDGE_FILES) + "/" + name);
    const std::pair<const char*, std::string> words[] = {
        {"@ADDRESS@", address},
        {"@MODEL@", make.model},
        {"@MANUFACTURER@", make.manufacturer},
        {"@MANUFACTURER-URL@", make.manufacturer_url},
        {"@SERVER@", make.server}};
    for (const auto& [word, meaning] : words) {
        for (std::size_t at; (at = text.find(word)) != std::string::npos;) {
            text.replace(at, std::strlen(word), meaning);
        }
    }
    return text;
}

// With a Content-Length, so that the end of the body does not depend on the close.
std::string http_answer(const std::string& status, const std::string& type,
                        const std::string& body) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
           body;
}

std::string half_of_header(const std::string& answer) {
    return answer.substr(0, answer.find(kHeaderEnd) / 2);
}

std::string header_and_half_of_body(const std::string& answer) {
    const std::size_t body = answer.find(kHeaderEnd) + std::strlen(kHeaderEnd);
    return answer.substr(0, body + (answer.size() - body) / 2);
}

}  // namespace

Bridge::Bridge(const Setup& setup, EventSink sink)
    : address_(setup.address),
      sink_(std::move(sink)),
      server_(std::make_unique<httplib::Server>()) {
    if (!setup.username.empty()) {
        users_.insert(setup.username);
    }
    for (const std::string& id : setup.lights.getMemberNames()) {
        lights_.emplace(std::stoi(id), BridgeLight(std::stoi(id), setup.lights[id]));
    }
    server_->Get("/description.xml", [this](const Request&, httplib::Response& response) {
        const std::lock_guard<std::mutex> lock(mutex_);
        response.set_content(description_, "text/xml");
    });
    add_routes();
    server_->set_keep_alive_max_count(1);  // a bridge closes after every answer
    const int port_behind = server_->bind_to_any_port("127.0.0.1");
    if (port_behind <= 0) {
        throw std::runtime_error("no port for the bridge's server");
    }
    gate_ = std::make_unique<Gate>(setup.address, kHttpPort, port_behind, sink_);
    pose_as("old");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
}

Bridge::~Bridge() {
    responders_.clear();
    gate_.reset();
    // stop() has no effect before the loop runs.
    while (!server_->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    server_->stop();
    thread_.join();
}

// The route runs with the mutex held.
Bridge::Handler Bridge::handler(const Route& route) {
    return [this, route](const Request& request, httplib::Response& response) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const bool has_user = request.matches.size() > 1;
        const bool has_body = request.method == "PUT" || request.method == "POST";
        const auto body = parse_json(has_body ? request.body : "{}");
        if (has_user && users_.count(request.matches[1]) == 0) {
            respond(response, unauthorized());
        } else if (!body || !body->isObject()) {
            respond(response,
                    only_error(BridgeError::invalid_json, Gate::without_user(request.path),
                               "body contains invalid json"));
        } else {
            respond(response, route(request, *body));
        }
    };
}

Bridge::Handler Bridge::light_handler(const LightRoute& route) {
    return handler([this, route](const Request& request, const Json::Value& body) {
        const auto found = lights_.find(std::stoi(request.matches[2]));
        return found == lights_.end() ? not_available(request) : route(found->second, body);
    });
}

void Bridge::add_routes() {
    // Before the routes with a user.
    server_->Get("/api/(?:[^/]+/)?config", [this](const Request&, httplib::Response& response) {
        const std::lock_guard<std::mutex> lock(mutex_);
        Json::Value config;
        config["name"] = "Philips hue";
        if (model_ != "BSB001") {  // which gives its ID in its description only
            config["bridgeid"] = kId;
        }
        config["modelid"] = model_;
        config["swversion"] = "1967054020";
        config["apiversion"] = "1.67.0";
        config["mac"] = "00:17:88:0a:e6:70";
        config["factorynew"] = false;
        respond(response, config);
    });
    server_->Get(kUser + "/?", handler([this](auto&, auto&) {
                     Json::Value root;
                     root["lights"] = descriptions();
                     return root;
                 }));
    server_->Get(kUser + "/lights", handler([this](auto&, auto&) { return descriptions(); }));
    server_->Get(kLight, light_handler([](auto& light, auto&) { return light.description(); }));
    server_->Put(kLight + "/state", light_handler(&BridgeLight::put_state));
    server_->Put(kLight + "(?:/name)?", light_handler(&BridgeLight::put_name));
    server_->Delete(kLight, handler([this](const Request& request, auto&) {
                        Json::Value element;
                        element["success"] = Gate::without_user(request.path) + " deleted";
                        return lights_.erase(std::stoi(request.matches[2])) > 0
                                   ? only(element)
                                   : not_available(request);
                    }));
    server_->Post("/api/?", handler([this](auto&, auto& body) { return pair(body); }));
    server_->set_error_handler([](const Request& request, httplib::Response& response) {
        respond(response, not_available(request));
    });
}

Json::Value Bridge::descriptions() const {
    Json::Value lights(Json::objectValue);
    for (const auto& [id, light] : lights_) {
        lights[std::to_string(id)] = light.description();
    }
    return lights;
}

Json::Value Bridge::pair(const Json::Value& request) {
    const Json::Value& type = request["devicetype"];
    if (!type.isString() || type.asString().empty() ||
        type.asString().size() > kLongestDeviceType) {
        return only_error(BridgeError::invalid_value, "/devicetype",
                          "invalid value, " + compact_json(type) + ", for parameter, devicetype");
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < button_end_ - kButtonTime || now > button_end_) {
        return only_error(BridgeError::link_button_not_pressed, "", "link button not pressed");
    }
    std::string name = "-user-" + std::to_string(users_.size());  // a program may read it as option
    name.resize(kNameLength, 'x');
    users_.insert(name);
    return only(bridge_success("username", name));
}

void Bridge::pose_as(const std::string& name) {
    const Make& make = kMakes.at(name);
    responders_.clear();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        description_ = load_own_file("description.xml", make, address_);
        model_ = make.model;
    }
    if (!MulticastResponder::is_possible()) {
        return;
    }
    const auto respond = [this](const char* group, std::uint16_t port, const std::string& from,
                                const MulticastResponder::Answerer& answerer) {
        responders_.push_back(std::make_unique<MulticastResponder>(group, port, from, answerer));
    };
    if (*make.server != '\0') {
        respond(kSsdpGroup, kSsdpPort, address_,
                ssdp_answers(load_own_file("search-answers.txt", make, address_), sink_));
    }
    if (make.has_mdns) {
        respond(kMdnsGroup, kMdnsPort, address_, mdns_answers(address_, sink_));
    }
    if (make.is_hostile) {
        respond(kMdnsGroup, kMdnsPort, kHostileAddress, hostile_mdns_answers());
    }
}

void Bridge::press_link_button(std::chrono::milliseconds delay) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        button_end_ = std::chrono::steady_clock::now() + delay + kButtonTime;
    }
    sink_({EventKind::house,
           "the link button of the bridge is pressed in " + std::to_string(delay.count()) + " ms"});
}

std::vector<int> Bridge::light_ids() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<int> ids;
    for (const auto& [id, light] : lights_) {
        ids.push_back(id);
    }
    return ids;
}

void Bridge::remove_light(int id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lost_lights_.insert(lights_.extract(id));
}

void Bridge::recover() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lights_.merge(lost_lights_);
    }
    server().recover();
}

const Bridge::Table& Bridge::faults() {
    static const Table kFaults = {
        {"cut", listener_fault(&SocketServer::refuse)},
        {"hang", listener_fault(&SocketServer::hang)},
        {"reset", reset_connection()},
        {"stall", silence()},
        {"stall-header", changed(half_of_header, "stalls in a header", true)},
        {"stall-body", changed(header_and_half_of_body, "stalls in a body", true)},
        {"half", changed(header_and_half_of_body, "sends half an answer")},
        {"slow", slowness(kSlowPause)},
        {"garbage", send_instead(std::string("\x16\x03\x00\xff not http \x80\x81", 16))},
        {"html", send_instead(http_answer("503 Service Unavailable", "text/html", kPage),
                              "sends an HTML page with status 503")},
        {"forgetful",
         send_instead(http_answer("200 OK", "application/json", compact_json(unauthorized())),
                      "answers that the user is unauthorized")},
    };
    return kFaults;
}

void Bridge::send_answer(const std::string& status, const std::string& content_type,
                         const std::string& body, int times) {
    server().inject_fault(
        send_instead(http_answer(status, content_type, body),
                     "sends " + status + ", " + std::to_string(body.size()) + " bytes"),
        times);
}

int Bridge::count(const std::string& method, const std::string& path) const {
    const std::vector<Gate::Request> seen = gate_->requests();
    return static_cast<int>(
        std::count_if(seen.begin(), seen.end(), [&](const Gate::Request& request) {
            return request.method == method && Gate::without_user(request.path) == path;
        }));
}

Json::Value Bridge::use_light(int id, const std::function<Json::Value(BridgeLight&)>& use) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = lights_.find(id);
    return found == lights_.end() ? Json::Value() : use(found->second);
}

Json::Value Bridge::Bulb::description() const {
    return bridge_.use_light(id_, [](BridgeLight& light) { return light.description(); });
}

Json::Value Bridge::Bulb::change(const Json::Value& members) {
    Json::Value answer =
        bridge_.use_light(id_, [&](BridgeLight& light) { return light.change(members); });
    bridge_.sink_(
        {EventKind::house, "bulb " + std::to_string(id_) + " changes: " + compact_json(members)});
    return answer;
}

void Bridge::Bulb::turn(bool on) {
    Json::Value members;
    members["on"] = on;
    change(members);
}

}  // namespace simulator
