#include "simulator/bridge/Gate.h"

#include <algorithm>
#include <cstdlib>
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
constexpr const char* kHeaderEnd = "\r\n\r\n";
constexpr std::size_t kHeaderEndBytes = 4;
constexpr std::size_t kLongestText = 160;

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

std::size_t content_length(const std::string& header) {
    static const std::string kLabel = "\r\nContent-Length:";
    const std::size_t at = header.find(kLabel);
    return at == std::string::npos ? 0
                                   : static_cast<std::size_t>(std::strtoul(
                                         header.c_str() + at + kLabel.size(), nullptr, 10));
}

// Start of the body; 0 while the header is incomplete.
std::size_t body_position(const std::string& text) {
    const std::size_t end = text.find(kHeaderEnd);
    return end == std::string::npos ? 0 : end + kHeaderEndBytes;
}

bool is_whole_request(const std::string& text) {
    const std::size_t body = body_position(text);
    return body > 0 && text.size() - body >= content_length(text.substr(0, body));
}

std::string shortened(std::string text) {
    if (text.size() > kLongestText) {
        text.resize(kLongestText);
        text += "...";
    }
    return text;
}

std::string describe_answer(const std::string& answer) {
    const std::string body = answer.substr(body_position(answer));
    const auto json = parse_json(body);
    if (!json) {
        const bool has_status = answer.rfind("HTTP/", 0) == 0;
        return (has_status ? answer.substr(0, answer.find('\r')) + ", " : "") +
               (body.empty() ? "empty body" : std::to_string(body.size()) + " bytes, not JSON");
    }
    if (!json->isObject()) {
        return shortened(compact_json(*json));
    }
    if (json->isMember("state")) {
        return shortened(compact_json((*json)["state"]));
    }
    const Json::Value& lights = json->isMember("lights") ? (*json)["lights"] : *json;
    return std::to_string(lights.size()) + " lights";
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

Gate::~Gate() {
    server_.stop();
}

std::string Gate::without_user(const std::string& path) {
    static const std::string kUsers = "/api/";
    if (path.rfind(kUsers, 0) != 0) {
        return path;
    }
    const std::size_t rest = path.find('/', kUsers.size());
    return rest == std::string::npos ? "/" : path.substr(rest);
}

void Gate::report(EventKind kind, const std::string& text) const {
    if (sink_) {
        sink_(kind, text);
    }
}

std::vector<Gate::Request> Gate::requests() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::vector<Gate::Request> Gate::changes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
}

void Gate::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
    changes_.clear();
}

void Gate::serve(Connection& connection) {
    const std::string text = connection.read_until(is_whole_request, kRequestLimit);
    if (!is_whole_request(text)) {
        return;
    }
    const std::size_t body = body_position(text);
    const std::string header = text.substr(0, body);
    Request request;
    request.start = arrival_time(connection.fd());
    request.body = text.substr(body, content_length(header));
    std::istringstream(header) >> request.method >> request.path;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
    }
    report(EventKind::daemon_to_bridge, describe_request(request));
    const Fault fault = server_.take_fault();
    const std::string answer = fault.is_carried_out ? answer_to(request, header) : "";
    if (fault.is_carried_out) {
        take_exchange(request, answer);
    }
    report(EventKind::bridge_to_daemon,
           fault.meaning.empty() ? describe_answer(answer) : fault.meaning);
    fault.send(connection, answer);
    connection.finish();
}

void Gate::take_exchange(const Request& request, const std::string& answer) {
    if (request.method == "PUT" && answer.find("\"success\"") != std::string::npos &&
        answer.find("\"error\"") == std::string::npos) {
        const std::lock_guard<std::mutex> lock(mutex_);
        changes_.push_back(request);
    }
    if (exchange_listener_) {
        exchange_listener_(request, answer.substr(std::min(body_position(answer), answer.size())));
    }
}

// Forwards a GET without its body, and other requests with as many bytes as their Content-Length.
std::string Gate::answer_to(const Request& request, const std::string& header) const {
    FileDescriptor fd(make_internettcpclient_socket("127.0.0.1", port_behind_));
    if (!fd) {
        return {};
    }
    Connection behind(std::move(fd));
    behind.write(request.method == "GET"
                     ? request.method + " " + request.path + " HTTP/1.0" + kHeaderEnd
                     : header + request.body);
    return behind.read_until([](const std::string&) { return false; }, kAnswerLimit);
}

}  // namespace simulator
