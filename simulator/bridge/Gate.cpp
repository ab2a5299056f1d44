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

void Gate::inject_fault(Fault fault, int times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    plan_ = {fault, times, {}, kSlowPause, 0};
}

void Gate::replace_answers(std::string bytes, int times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    plan_ = {Fault::replaced, times, std::move(bytes), kSlowPause, 0};
}

void Gate::slow_down_answers(std::chrono::milliseconds pause, int times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    plan_ = {Fault::slow, times, {}, pause, 0};
}

void Gate::recover() {
    inject_fault(Fault::none);
    ++recoveries_;
    server_.accept_again();
}

Gate::Plan Gate::take_plan() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Plan plan = plan_;
    plan.recoveries = recoveries_;
    if (plan_.times > 0 && --plan_.times == 0) {
        plan_ = {};
    }
    return plan;
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

std::chrono::milliseconds Gate::smallest_gap() const {
    auto gap = Clock::duration::max();
    const std::vector<Request> seen = requests();
    for (std::size_t i = 1; i < seen.size(); ++i) {
        gap = std::min(gap, seen[i].start - seen[i - 1].start);
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(gap);
}

void Gate::serve(Connection& connection) {
    const Plan plan = take_plan();
    if (plan.fault == Fault::reset) {
        report(EventKind::bridge_to_daemon, "resets the connection");
        connection.reset();
        return;
    }
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
    if (plan.fault == Fault::stall || plan.fault == Fault::replaced) {
        deliver(connection, plan, plan.bytes);
        return;
    }
    const std::string answer = answer_to(request, header, connection.stop_fd());
    if (request.method == "PUT" && answer.find("\"success\"") != std::string::npos &&
        answer.find("\"error\"") == std::string::npos) {
        const std::lock_guard<std::mutex> lock(mutex_);
        changes_.push_back(request);
    }
    if (exchange_listener_) {
        exchange_listener_(request, answer.substr(std::min(body_position(answer), answer.size())));
    }
    deliver(connection, plan, answer);
}

void Gate::deliver(Connection& connection, const Plan& plan, const std::string& answer) {
    const std::size_t body = body_position(answer);
    const std::size_t middle_of_body = body + (answer.size() - body) / 2;
    switch (plan.fault) {
        case Fault::stall:
        case Fault::stall_in_header:
        case Fault::stall_in_body:
            report(EventKind::bridge_to_daemon, "stalls");
            if (plan.fault != Fault::stall) {
                connection.write(answer.substr(
                    0, plan.fault == Fault::stall_in_header ? body / 2 : middle_of_body));
            }
            connection.hold([&] { return recoveries_ != plan.recoveries; });
            return;
        case Fault::half:
            report(EventKind::bridge_to_daemon, "sends half an answer");
            connection.write(answer.substr(0, middle_of_body));
            break;
        case Fault::slow:
            report(EventKind::bridge_to_daemon, describe_answer(answer) + ", byte by byte");
            connection.write_slowly(answer, plan.pause);
            break;
        default:
            report(EventKind::bridge_to_daemon, describe_answer(answer));
            connection.write(answer);
    }
    connection.finish();
}

// Forwards a GET without its body, and other requests with as many bytes as their Content-Length.
std::string Gate::answer_to(const Request& request, const std::string& header, int stop_fd) const {
    FileDescriptor fd(make_internettcpclient_socket("127.0.0.1", port_behind_));
    if (!fd) {
        return {};
    }
    Connection behind(std::move(fd), stop_fd);
    std::string relayed = header;
    if (request.method == "GET") {
        relayed = request.method + " " + request.path + " HTTP/1.0" + kHeaderEnd;
    } else {
        relayed += request.body;
    }
    behind.write(relayed);
    return behind.read_until([](const std::string&) { return false; }, kAnswerLimit);
}

}  // namespace simulator
