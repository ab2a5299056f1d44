#include "simulator/bridge/Bridge.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>

#include <httplib.h>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr std::size_t kServerThreads = 2;
constexpr std::chrono::milliseconds kSlowPause{1};
constexpr std::chrono::seconds kButtonTime{30};
constexpr std::size_t kNameLength = 40;
constexpr std::size_t kLongestDeviceType = 40;
// Groups: the user, the lights, a light, a part of it.
constexpr const char* kPath = "/api(?:/([^/]+)(/lights(?:/([1-9]\\d*)(/state|/name)?)?)?)?/?";
constexpr const char* kHeaderEnd = "\r\n\r\n";
constexpr const char* kPage = "<html><body><h1>503 Service Unavailable</h1></body></html>";

Json::Value only(Json::Value element) {
    Json::Value answer(Json::arrayValue);
    answer.append(std::move(element));
    return answer;
}

Json::Value only_error(BridgeError type, const std::string& address,
                       const std::string& description) {
    return only(bridge_error(type, address, description));
}

Json::Value not_available(const std::string& resource) {
    return only_error(BridgeError::resource_not_available, resource,
                      "resource, " + resource + ", not available");
}

Json::Value no_such_method(const std::string& method, const std::string& resource) {
    return only_error(BridgeError::method_not_available, resource,
                      "method, " + method + ", not available for resource, " + resource);
}

std::string random_name() {
    static const std::string kLetters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    static std::random_device source;
    std::uniform_int_distribution<std::size_t> any(0, kLetters.size() - 1);
    std::string name(kNameLength, ' ');
    std::generate(name.begin(), name.end(), [&] { return kLetters[any(source)]; });
    return name;
}

// A file beside this one, with the address of the bridge.
std::string load_own_file(const std::string& name, const std::string& address, int port) {
    std::string text = load_text_file(std::string(LUMIVAD_BRIDGE_FILES) + "/" + name);
    const std::pair<std::string, std::string> placeholders[] = {{"@ADDRESS@", address},
                                                                {"@PORT@", std::to_string(port)}};
    for (const auto& [placeholder, value] : placeholders) {
        for (std::size_t at = 0; (at = text.find(placeholder)) != std::string::npos;) {
            text.replace(at, placeholder.size(), value);
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

std::size_t middle_of_header(const std::string& answer) {
    return answer.find(kHeaderEnd) / 2;
}

std::size_t middle_of_body(const std::string& answer) {
    const std::size_t body = answer.find(kHeaderEnd) + std::strlen(kHeaderEnd);
    return body + (answer.size() - body) / 2;
}

using FindEnd = std::size_t (*)(const std::string& answer);

Fault part_of_answer(const std::string& meaning, FindEnd end, bool holds) {
    return {[end, holds](Connection& peer, const std::string& answer) {
                peer.write(answer.substr(0, end(answer)));
                if (holds) {
                    peer.hold();
                }
            },
            true, meaning};
}

}  // namespace

Bridge::Bridge(const Setup& setup, EventSink sink)
    : sink_(std::move(sink)), server_(std::make_unique<httplib::Server>()) {
    if (!setup.username.empty()) {
        users_.insert(setup.username);
    }
    for (const std::string& id : setup.lights.getMemberNames()) {
        const int number = std::atoi(id.c_str());
        lights_.emplace(number, BridgeLight(number, setup.lights[id]));
    }
    const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        response.set_content(compact_json(route(request)), "application/json");
    };
    server_->Get("/description.xml", [this](const httplib::Request&, httplib::Response& response) {
        response.set_content(description_, "text/xml");
    });
    for (const char* path : {kPath, ".*"}) {
        server_->Get(path, handler).Put(path, handler).Post(path, handler).Delete(path, handler);
    }
    server_->new_task_queue = [] { return new httplib::ThreadPool(kServerThreads); };
    server_->set_keep_alive_max_count(1);  // a bridge closes after every answer
    const int port_behind = server_->bind_to_any_port("127.0.0.1");
    if (port_behind <= 0) {
        throw std::runtime_error("no port for the bridge's server");
    }
    gate_ = std::make_unique<Gate>(setup.address, setup.port, port_behind, sink_);
    description_ = load_own_file("description.xml", setup.address, port());
    if (SsdpResponder::is_possible()) {
        responder_ =
            std::make_unique<SsdpResponder>(SsdpResponder::parse_answers(load_own_file(
                                                "search-answers.txt", setup.address, port())),
                                            sink_);
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

Json::Value Bridge::route(const httplib::Request& request) {
    const auto& parts = request.matches;
    const std::string& method = request.method;
    const std::string resource = Gate::without_user(request.path);
    if (parts.size() == 1) {
        return not_available(resource);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!parts[1].matched) {
        return method == "POST" ? pair(request.body) : no_such_method(method, "/");
    }
    if (is_forgetful_ || users_.count(parts[1]) == 0) {
        return only_error(BridgeError::unauthorized, "/", "unauthorized user");
    }
    if (parts[3].matched) {
        return route_light(std::atoi(parts[3].str().c_str()), method, resource, parts[4],
                           request.body);
    }
    if (method != "GET") {
        return no_such_method(method, resource);
    }
    Json::Value lights(Json::objectValue);
    for (const auto& [id, light] : lights_) {
        lights[std::to_string(id)] = light.description();
    }
    if (parts[2].matched) {
        return lights;
    }
    Json::Value root;
    for (const char* member : {"config", "groups", "rules", "scenes", "schedules", "sensors"}) {
        root[member] = Json::objectValue;
    }
    root["lights"] = lights;
    return root;
}

// `part`: "/state", "/name" or empty.
Json::Value Bridge::route_light(int id, const std::string& method, const std::string& resource,
                                const std::string& part, const std::string& body) {
    const auto found = lights_.find(id);
    if (found == lights_.end()) {
        return not_available(resource);
    }
    if (method == "GET" && part.empty()) {
        return found->second.description();
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
        return only_error(BridgeError::invalid_json, resource, "body contains invalid json");
    }
    return part == "/state" ? found->second.put_state(*request) : found->second.put_name(*request);
}

Json::Value Bridge::pair(const std::string& body) {
    const auto request = parse_json(body);
    if (!request || !request->isObject()) {
        return only_error(BridgeError::invalid_json, "", "body contains invalid json");
    }
    const Json::Value& type = (*request)["devicetype"];
    if (type.isNull()) {
        return only_error(BridgeError::missing_parameters, "",
                          "invalid/missing parameters in body");
    }
    if (!type.isString() || type.asString().empty() ||
        type.asString().size() > kLongestDeviceType) {
        return only_error(BridgeError::invalid_value, "/devicetype",
                          "invalid value, " + compact_json(type) + ", for parameter, devicetype");
    }
    const auto now = std::chrono::steady_clock::now();
    if (!pressed_ || now < *pressed_ || now - *pressed_ > kButtonTime) {
        return only_error(BridgeError::link_button_not_pressed, "", "link button not pressed");
    }
    return only(bridge_success("username", *users_.insert(random_name()).first));
}

void Bridge::press_link_button(std::chrono::milliseconds delay) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        pressed_ = std::chrono::steady_clock::now() + delay;
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
    is_forgetful_ = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lights_.merge(lost_lights_);
    }
    server().recover();
}

const Bridge::Table& Bridge::faults() {
    static const Table kFaults = {
        {"cut", [](Bridge& bridge, int) { bridge.server().refuse(); }},
        {"hang", [](Bridge& bridge, int) { bridge.server().hang(); }},
        {"reset", reset_connection()},
        {"stall", silence()},
        {"stall-header", part_of_answer("stalls in a header", middle_of_header, true)},
        {"stall-body", part_of_answer("stalls in a body", middle_of_body, true)},
        {"half", part_of_answer("sends half an answer", middle_of_body, false)},
        {"slow", slowness(kSlowPause)},
        {"garbage", send_instead(std::string("\x16\x03\x00\xff not http \x80\x81", 16))},
        {"html", send_instead(http_answer("503 Service Unavailable", "text/html", kPage),
                              "sends an HTML page with status 503")},
        {"forgetful", [](Bridge& bridge, int) { bridge.is_forgetful_ = true; }},
    };
    return kFaults;
}

void Bridge::send_slowly(std::chrono::milliseconds pause, int times) {
    server().inject_fault(slowness(pause), times);
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

Json::Value Bridge::Bulb::description() const {
    const std::lock_guard<std::mutex> lock(bridge_.mutex_);
    const auto found = bridge_.lights_.find(id_);
    return found == bridge_.lights_.end() ? Json::Value() : found->second.description();
}

Json::Value Bridge::Bulb::state() const {
    return description()["state"];
}

Json::Value Bridge::Bulb::state(const std::string& member) const {
    return state().get(member, Json::Value());
}

std::string Bridge::Bulb::name() const {
    return description()["name"].asString();
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
