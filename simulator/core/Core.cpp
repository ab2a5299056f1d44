#include "simulator/core/Core.h"

#include <cstdint>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "libcbase/FSMCoreutil.h"
#include "libcbase/utility.h"

namespace simulator {
namespace {

using fsmcore_format::Form;
using fsmcore_format::Limits;

constexpr std::chrono::seconds kRequestLimit{5};
constexpr Limits kLimits{16, 512};
constexpr std::size_t kPartOfReport = 20;
constexpr int kErrorStatus = 13;
constexpr const char* kService = "SERVICE_RUNONELEMENT";
constexpr std::size_t kValueIndex = 2;
constexpr std::size_t kCallerIndex = 5;

// A plain request ends with an empty line. An empty value is followed by an empty line too.
bool is_whole(const std::string& text) {
    const std::size_t last_line = text.rfind("\nWaittime: ");
    return last_line != std::string::npos && text.find("\n\n", last_line) != std::string::npos;
}

}  // namespace

Core::Core(EventSink sink, const std::string& socket_path)
    : sink_(std::move(sink)),
      socket_path_(socket_path),
      server_([this](Connection& connection) { serve(connection); }) {
    server_.listen_unix(socket_path_);
}

Core::~Core() {
    server_.stop();
}

std::vector<Core::Report> Core::reports() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return reports_;
}

std::vector<Core::Report> Core::take_reports() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(reports_, {});
}

std::vector<std::string> Core::history(int object) const {
    std::vector<std::string> values;
    for (const Report& report : reports()) {
        if (report.object == object) {
            values.push_back(report.value);
        }
    }
    return values;
}

std::optional<std::string> Core::value(int object) const {
    const std::vector<std::string> values = history(object);
    return values.empty() ? std::nullopt : std::optional<std::string>(values.back());
}

void Core::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    reports_.clear();
}

void Core::remove_socket() {
    server_.refuse();
    unlink(socket_path_.c_str());
}

void Core::recover() {
    fault_ = Fault::none;
    server_.accept_again();
}

bool Core::record(const std::string& text) {
    fsmcore_format::Request request;
    std::int32_t object = 0;
    if (!fsmcore_format::parse_request(text, kLimits, request) || request.function != kService ||
        request.parameters.size() <= kCallerIndex || request.parameters[1] != "SETVALUE" ||
        parse_int32(request.parameters[0].c_str(), 10, &object) != PARSE_NUMBER_OK) {
        return false;
    }
    const std::string& value = request.parameters[kValueIndex];
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        reports_.push_back({object, value, request.parameters[kCallerIndex]});
    }
    if (sink_) {
        sink_(EventKind::daemon_to_core, "object " + std::to_string(object) + " is " + value);
    }
    return true;
}

void Core::serve(Connection& connection) {
    if (fault_ == Fault::gone) {
        connection.read_until([](const std::string& text) { return text.size() > kPartOfReport; },
                              kRequestLimit);
        connection.reset();
        return;
    }
    const std::string text = connection.read_until(is_whole, kRequestLimit);
    const Fault fault = fault_;
    if (fault == Fault::silent) {
        connection.hold([this] { return fault_ == Fault::none; });
        return;
    }
    if (fault == Fault::late) {
        const auto end = std::chrono::steady_clock::now() + kLatePause;
        connection.hold([end] { return std::chrono::steady_clock::now() >= end; });
    }
    if (fault == Fault::garbage) {
        connection.write("\x01\xff not an answer \x80\n\n");
    } else if (fault == Fault::error_status || !record(text)) {
        malformed_ += fault == Fault::none ? 1 : 0;
        fsmcore_response(connection.fd(), kErrorStatus, 0, nullptr);
    } else {
        fsmcore_response(connection.fd(), FSMCORE_OK, 0, nullptr);
    }
    connection.finish();
}

std::optional<int> Core::run_object(int object, const std::string& payload) {
    return send_command(
        {std::to_string(object), "RUN", payload, "NO-OPTIONALS", "NO-HASHCODE", "CORE"});
}

std::optional<int> Core::quit() {
    return send_command({"0", "QUIT", "NO-PAYLOAD", "NO-OPTIONALS", "NO-HASHCODE", "CORE"});
}

std::optional<int> Core::send_command(std::vector<std::string> parameters) const {
    if (sink_) {
        sink_(EventKind::core_to_daemon,
              parameters[1] + " object " + parameters[0] + ": " + parameters[kValueIndex]);
    }
    const auto text = fsmcore_format::compose_request(
        Form::length_managed, {kService, std::move(parameters), std::to_string(5)});
    fsmcore_format::Response answer;
    if (!text || !fsmcore_format::parse_response(answer_to(*text), answer)) {
        return std::nullopt;
    }
    return answer.status;
}

FileDescriptor Core::connect_to_daemon() const {
    return FileDescriptor(make_internettcpclient_socket("127.0.0.1", daemon_port_));
}

std::string Core::answer_to(const std::string& request) const {
    FileDescriptor fd = connect_to_daemon();
    if (!fd) {
        return {};
    }
    set_socket_timeouts(fd.get(),
                        static_cast<int>(std::chrono::milliseconds(kAnswerLimit).count()));
    send(fd.get(), request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char chunk[1024];
    ssize_t length = 0;
    while (answer.size() < Connection::kMessageBytes &&
           (length = recv(fd.get(), chunk, sizeof(chunk), 0)) > 0) {
        answer.append(chunk, static_cast<std::size_t>(length));
    }
    return answer;
}

}  // namespace simulator
