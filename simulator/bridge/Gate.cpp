#include "simulator/bridge/Gate.h"

#include <cstdlib>
#include <optional>
#include <sstream>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kRequestLimit{5};
constexpr std::chrono::seconds kAnswerLimit{5};
const std::string kHeaderEnd = "\r\n\r\n";
const std::string kLengthLabel = "\r\nContent-Length:";

// From the kernel's record of when the last bytes came, so that a late wake-up of this thread does
// not count.
Clock::time_point arrival_time(int fd) {
    tcp_info info{};
    socklen_t length = sizeof(info);
    const auto now = Clock::now();
    if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) {
        return now;
    }
    return now - std::chrono::milliseconds(info.tcpi_last_data_recv);
}

// The bytes after the header; nothing while the header is incomplete.
std::optional<std::string> body_of(const std::string& message) {
    const std::size_t end = message.find(kHeaderEnd);
    return end == std::string::npos
               ? std::nullopt
               : std::optional<std::string>(message.substr(end + kHeaderEnd.size()));
}

std::size_t content_length(const std::string& message) {
    const std::size_t at = message.find(kLengthLabel);
    return at == std::string::npos
               ? 0
               : std::strtoul(message.c_str() + at + kLengthLabel.size(), nullptr, 10);
}

bool is_whole_request(const std::string& text) {
    const auto body = body_of(text);
    return body && body->size() >= content_length(text);
}

std::string describe_answer(const std::string& answer) {
    const std::string body = body_of(answer).value_or("");
    const Json::Value json = parse_json(body).value_or(Json::Value());
    if (json.isArray()) {
        return compact_json(json);
    }
    if (!json.isObject()) {
        return answer.substr(0, answer.find('\r')) + ", " + std::to_string(body.size()) + " bytes";
    }
    if (json.isMember("apiversion")) {
        return "configuration of " + json["modelid"].asString();
    }
    return json.isMember("state") ? compact_json(json["state"])
                                  : std::to_string(json.get("lights", json).size()) + " lights";
}

std::string describe_request(const Gate::Request& request) {
    const auto json = parse_json(request.body);
    const bool has_content = json && json->isObject() && !json->empty();
    return request.method + " " + Gate::without_user(request.path) +
           (has_content ? " " + compact_json(*json) : "");
}

}  // namespace

Gate::Gate(const std::string& address, int port, int port_behind, EventSink sink)
    : port_behind_(port_behind),
      sink_(std::move(sink)),
      server_([this](Connection& connection) { serve(connection); }) {
    server_.listen_tcp(address, port);
}

std::string Gate::without_user(const std::string& path) {
    static const std::string kUsers = "/api/";
    if (path.rfind(kUsers, 0) != 0 || path == "/api/config") {
        return path;
    }
    const std::size_t rest = path.find('/', kUsers.size());
    return rest == std::string::npos ? "/" : path.substr(rest);
}

std::vector<Gate::Request> Gate::requests() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void Gate::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

void Gate::serve(Connection& connection) {
    const std::string text = connection.read_until(is_whole_request, kRequestLimit);
    if (!is_whole_request(text)) {
        return;
    }
    Request request;
    request.start = arrival_time(connection.fd());
    request.body = body_of(text)->substr(0, content_length(text));
    std::istringstream(text) >> request.method >> request.path;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
    }
    sink_({EventKind::daemon_to_bridge, describe_request(request), 0, request.body});
    const Fault fault = server_.take_fault();
    const std::string answer = fault.is_carried_out ? answer_to(request) : "";
    if (fault.is_carried_out && exchange_listener_) {
        exchange_listener_(request, body_of(answer).value_or(""));
    }
    sink_({EventKind::bridge_to_daemon,
           fault.meaning.empty() ? describe_answer(answer) : fault.meaning});
    fault.send(connection, answer);
    connection.finish();
}

// Forwards a GET without its body.
std::string Gate::answer_to(const Request& request) const {
    const std::string body = request.method == "GET" ? "" : request.body;
    return exchange(port_behind_,
                    request.method + " " + request.path + " HTTP/1.0" + kLengthLabel + " " +
                        std::to_string(body.size()) + kHeaderEnd + body,
                    kAnswerLimit);
}

}  // namespace simulator
