#include "simulator/core/Core.h"

#include <cstdint>

#include "libcbase/FSMCoreutil.h"
#include "libcbase/utility.h"

namespace simulator {
namespace {

constexpr std::chrono::seconds kRequestLimit{5};
constexpr fsmcore_format::Limits kLimits{16, 512};
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
    : sink_(std::move(sink)), server_([this](Connection& connection) { serve(connection); }) {
    server_.listen_unix(socket_path);
}

std::vector<Core::Report> Core::reports() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return reports_;
}

void Core::forget_reports() {
    const std::lock_guard<std::mutex> lock(mutex_);
    reports_.clear();
}

const Core::Table& Core::faults() {
    static const Table kFaults = {
        {"cut", listener_fault(&SocketServer::refuse)},
        {"no-socket", listener_fault(&SocketServer::remove)},
        {"hang", listener_fault(&SocketServer::hang)},
        {"silent", silence()},
        {"reset", reset_connection()},
        {"late", {[](Connection& peer, const std::string& answer) {
             peer.pause(kLatePause);
             peer.write(answer);
         }}},
        {"garbage", send_instead("\x01\xff not an answer \x80\n\n")},
        {"error", send_instead(answer_with(kErrorStatus))},
    };
    return kFaults;
}

// Returns the status of the answer.
int Core::take_report(const std::string& text) {
    fsmcore_format::Request request;
    const std::vector<std::string>& words = request.parameters;
    std::int32_t object = 0;
    const bool is_valid = fsmcore_format::parse_request(text, kLimits, request) &&
                          request.function == kService && words.size() > kCallerIndex &&
                          words[1] == "SETVALUE" &&
                          parse_int32(words[0].c_str(), 10, &object) == PARSE_NUMBER_OK;
    const Report report =
        is_valid ? Report{object, words[kValueIndex], words[kCallerIndex]} : Report{0, text, {}};
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        reports_.push_back(report);
    }
    sink_({EventKind::daemon_to_core,
           "object " + std::to_string(report.object) + " is " + report.value, report.object,
           report.value});
    return is_valid ? FSMCORE_OK : kErrorStatus;
}

void Core::serve(Connection& connection) {
    const std::string text = connection.read_until(is_whole, kRequestLimit);
    const Fault fault = server_.take_fault();
    fault.send(connection, fault.is_carried_out ? answer_with(take_report(text)) : "");
    connection.finish();
}

std::optional<int> Core::send_command(int object, const std::string& action,
                                      const std::string& payload) const {
    const std::string number = std::to_string(object);
    sink_({EventKind::core_to_daemon, action + " object " + number + ": " + payload, object,
           payload});
    const auto text = fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {kService, {number, action, payload, "NO-OPTIONALS", "NO-HASHCODE", "CORE"}, "5"});
    fsmcore_format::Response answer;
    if (!text ||
        !fsmcore_format::parse_response(exchange(daemon_port_, *text, kAnswerLimit), answer)) {
        return std::nullopt;
    }
    return answer.status;
}

FileDescriptor Core::connect_to_daemon() const {
    return FileDescriptor(make_internettcpclient_socket("127.0.0.1", daemon_port_));
}

}  // namespace simulator
