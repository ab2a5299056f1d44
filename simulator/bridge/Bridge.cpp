#include "simulator/bridge/Bridge.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include <httplib.h>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr std::size_t kServerThreads = 2;
constexpr std::chrono::milliseconds kSlowPause{1};
constexpr const char* kHeaderEnd = "\r\n\r\n";
constexpr const char* kPage = "<html><body><h1>503 Service Unavailable</h1></body></html>";

Json::Value only(Json::Value element) {
    Json::Value answer(Json::arrayValue);
    answer.append(std::move(element));
    return answer;
}

Json::Value not_available(const std::string& resource) {
    return only(bridge_error(BridgeError::resource_not_available, resource,
                             "resource, " + resource + ", not available"));
}

Json::Value no_such_method(const std::string& method, const std::string& resource) {
    return only(bridge_error(BridgeError::method_not_available, resource,
                             "method, " + method + ", not available for resource, " + resource));
}

std::vector<std::string> split_path(const std::string& path) {
    std::vector<std::string> parts;
    std::istringstream text(path);
    for (std::string part; std::getline(text, part, '/');) {
        if (!part.empty()) {
            parts.push_back(part);
        }
    }
    return parts;
}

// With a Content-Length, so that the end of the body does not depend on the close.
std::string http_answer(const std::string& status, const std::string& type,
                        const std::string& body) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
           body;
}

std::size_t middle_of_header(const std::string& answer) {
    return answer.find(kHeaderEnd) / 2;
}

std::size_t middle_of_body(const std::string& answer) {
    const std::size_t body = answer.find(kHeaderEnd) + std::strlen(kHeaderEnd);
    return body + (answer.size() - body) / 2;
}

Fault part_of_answer(const std::string& meaning, std::size_t (*end)(const std::string& answer),
                     bool holds) {
    return {meaning, true, [end, holds](Connection& peer, const std::string& answer) {
                peer.write(answer.substr(0, end(answer)));
                if (holds) {
                    peer.hold();
                }
            }};
}

}  // namespace

Bridge::Bridge(const Setup& setup, EventSink sink)
    : sink_(std::move(sink)), users_(setup.username), server_(std::make_unique<httplib::Server>()) {
    for (const std::string& id : setup.lights.getMemberNames()) {
        const int number = std::atoi(id.c_str());
        lights_.emplace(number, BridgeLight(number, setup.lights[id]));
    }
    const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        answer(request, response);
    };
    server_->Get(".*", handler).Put(".*", handler).Post(".*", handler).Delete(".*", handler);
    server_->new_task_queue = [] { return new httplib::ThreadPool(kServerThreads); };
    server_->set_keep_alive_max_count(1);  // a bridge closes after every answer
    const int port_behind = server_->bind_to_any_port("127.0.0.1");
    if (port_behind <= 0) {
        throw std::runtime_error("no port for the bridge's server");
    }
    gate_ = std::make_unique<Gate>(setup.address, setup.port, port_behind, sink_);
    const std::string authority = setup.address + ":" + std::to_string(port());
    description_ = bridge_description(authority);
    if (SsdpResponder::is_possible()) {
        responder_ = std::make_unique<SsdpResponder>(answers_to_search(authority), sink_);
    }
    thread_ = std::thread([this] { server_->listen_after_bind(); });
}

Bridge::~Bridge() {
    responder_.reset();
    gate_.reset();
    // stop() has no effect before the loop runs.
    while (!server_->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    server_->stop();
    thread_.join();
}

void Bridge::answer(const httplib::Request& request, httplib::Response& response) {
    if (request.method == "GET" && request.path == "/description.xml") {
        const std::lock_guard<std::mutex> lock(mutex_);
        response.set_content(description_, "text/xml");
        return;
    }
    response.set_content(compact_json(route(request.method, request.path, request.body)),
                         "application/json");
}

Json::Value Bridge::route(const std::string& method, const std::string& path,
                          const std::string& body) {
    std::vector<std::string> parts = split_path(path);
    if (parts.empty() || parts[0] != "api") {
        return not_available(path);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (parts.size() < 2) {
        return method == "POST" ? users_.pair(body) : no_such_method(method, "/");
    }
    if (is_forgetful_ || !users_.has_user(parts[1])) {
        return only(bridge_error(BridgeError::unauthorized, "/", "unauthorized user"));
    }
    parts.erase(parts.begin(), parts.begin() + 2);
    if (parts.empty()) {
        Json::Value root;
        for (const char* member : {"config", "groups", "rules", "scenes", "schedules", "sensors"}) {
            root[member] = Json::objectValue;
        }
        root["lights"] = lights_json();
        return method == "GET" ? root : no_such_method(method, "/");
    }
    return parts[0] == "lights" ? route_lights(method, parts, body) : not_available("/" + parts[0]);
}

Json::Value Bridge::lights_json() const {
    Json::Value lights(Json::objectValue);
    for (const auto& [id, light] : lights_) {
        lights[std::to_string(id)] = light.description();
    }
    return lights;
}

// `parts` of "/lights/3/state": lights, 3, state.
Json::Value Bridge::route_lights(const std::string& method, const std::vector<std::string>& parts,
                                 const std::string& body) {
    std::string resource;
    for (const std::string& part : parts) {
        resource += "/" + part;
    }
    if (parts.size() == 1) {
        return method == "GET" ? lights_json() : no_such_method(method, resource);
    }
    const auto found = lights_.find(std::atoi(parts[1].c_str()));
    const std::string part = parts.size() == 3 ? parts[2] : "";
    if (found == lights_.end() || std::to_string(found->first) != parts[1] || parts.size() > 3) {
        return not_available(resource);
    }
    BridgeLight& light = found->second;
    if (method == "GET" && part.empty()) {
        return light.description();
    }
    if (method == "DELETE" && part.empty()) {
        lights_.erase(found);
        Json::Value element;
        element["success"] = resource + " deleted";
        return only(element);
    }
    if (method != "PUT") {
        return no_such_method(method, resource);
    }
    const auto request = parse_json(body);
    if (!request || !request->isObject()) {
        return only(
            bridge_error(BridgeError::invalid_json, resource, "body contains invalid json"));
    }
    if (part == "state") {
        return light.put_state(*request);
    }
    return part.empty() || part == "name" ? light.put_name(*request) : not_available(resource);
}

void Bridge::add_search_answer(const std::string& raw_answer) {
    if (!responder_) {
        throw std::logic_error("searches do not reach this bridge");
    }
    responder_->add_answer({std::chrono::milliseconds(0), raw_answer});
}

void Bridge::set_description(const std::string& xml) {
    const std::lock_guard<std::mutex> lock(mutex_);
    description_ = xml;
}

void Bridge::press_link_button() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        users_.press_link_button();
    }
    if (sink_) {
        sink_(EventKind::house, "the link button of the bridge is pressed");
    }
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
    is_forgetful_ = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lights_.merge(lost_lights_);
    }
    gate_->server().recover();
}

const FaultTable<Bridge>& Bridge::faults() {
    const auto answers = [](const Fault& fault) {
        return [fault](Bridge& bridge, int times) {
            bridge.gate_->server().inject_fault(fault, times);
        };
    };
    static const FaultTable<Bridge> kFaults = {
        {"cut", [](Bridge& bridge, int) { bridge.gate_->server().refuse(); }},
        {"hang", [](Bridge& bridge, int) { bridge.gate_->server().hang(); }},
        {"reset", answers(reset_connection())},
        {"stall", answers(silence())},
        {"stall-header", answers(part_of_answer("stalls in a header", middle_of_header, true))},
        {"stall-body", answers(part_of_answer("stalls in a body", middle_of_body, true))},
        {"half", answers(part_of_answer("sends half an answer", middle_of_body, false))},
        {"slow", answers(slowness(kSlowPause))},
        {"garbage", answers(send_instead(std::string("\x16\x03\x00\xff not http \x80\x81", 16)))},
        {"html", answers(send_instead(http_answer("503 Service Unavailable", "text/html", kPage),
                                      "sends an HTML page with status 503"))},
        {"forgetful", [](Bridge& bridge, int) { bridge.is_forgetful_ = true; }},
    };
    return kFaults;
}

void Bridge::send_slowly(std::chrono::milliseconds pause, int times) {
    gate_->server().inject_fault(slowness(pause), times);
}

void Bridge::send_answer(const std::string& status, const std::string& content_type,
                         const std::string& body, int times) {
    gate_->server().inject_fault(
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

Json::Value Bridge::Bulb::state() const {
    const std::lock_guard<std::mutex> lock(bridge_.mutex_);
    const auto found = bridge_.lights_.find(id_);
    return found == bridge_.lights_.end() ? Json::Value() : found->second.description()["state"];
}

Json::Value Bridge::Bulb::state(const std::string& member) const {
    return state().get(member, Json::Value());
}

std::string Bridge::Bulb::name() const {
    const std::lock_guard<std::mutex> lock(bridge_.mutex_);
    const auto found = bridge_.lights_.find(id_);
    return found == bridge_.lights_.end() ? "" : found->second.description()["name"].asString();
}

Json::Value Bridge::Bulb::change(const Json::Value& members) {
    Json::Value answer = not_available("/lights/" + std::to_string(id_));
    {
        const std::lock_guard<std::mutex> lock(bridge_.mutex_);
        const auto found = bridge_.lights_.find(id_);
        if (found != bridge_.lights_.end()) {
            answer = found->second.change(members);
        }
    }
    if (bridge_.sink_) {
        bridge_.sink_(EventKind::house,
                      "bulb " + std::to_string(id_) + " changes: " + compact_json(members));
    }
    return answer;
}

void Bridge::Bulb::turn_on() {
    Json::Value members;
    members["on"] = true;
    change(members);
}

void Bridge::Bulb::turn_off() {
    Json::Value members;
    members["on"] = false;
    change(members);
}

}  // namespace simulator
