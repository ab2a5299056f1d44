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

std::string answer_with(int status) {
    return *fsmcore_format::compose_response({status, {}});
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

const FaultTable<Core>& Core::faults() {
    const auto answers = [](const Fault& fault) {
        return [fault](Core& core, int times) { core.server_.inject_fault(fault, times); };
    };
    static const FaultTable<Core> kFaults = {
        {"cut", [](Core& core, int) { core.server_.refuse(); }},
        {"no-socket", [](Core& core, int) { core.server_.remove(); }},
        {"hang", [](Core& core, int) { core.server_.hang(); }},
        {"silent", answers(silence())},
        {"reset", answers(reset_connection())},
        {"late", answers({"answers late", true,
                          [](Connection& peer, const std::string& answer) {
                              peer.pause(kLatePause);
                              peer.write(answer);
                          }})},
        {"garbage", answers(send_instead("\x01\xff not an answer \x80\n\n"))},
        {"error", answers(send_instead(answer_with(kErrorStatus)))},
    };
    return kFaults;
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
    const std::string text = connection.read_until(is_whole, kRequestLimit);
    const Fault fault = server_.take_fault();
    std::string answer;
    if (fault.is_carried_out) {
        const bool is_valid = record(text);
        malformed_ += is_valid ? 0 : 1;
        answer = answer_with(is_valid ? FSMCORE_OK : kErrorStatus);
    }
    fault.send(connection, answer);
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
    Connection daemon(std::move(fd));
    daemon.write(request);
    return daemon.read_until([](const std::string&) { return false; }, kAnswerLimit);
}

}  // namespace simulator
