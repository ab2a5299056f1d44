#include "libcbase/FSMCoreutil.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <strings.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/utility.h"

namespace {

using fsmcore_format::Fault;
using fsmcore_format::Form;
using fsmcore_format::kBufferBytes;
using fsmcore_format::Request;
using Clock = std::chrono::steady_clock;

constexpr int kConnectAttempts = 5;
constexpr std::chrono::microseconds kConnectPause{500};
constexpr std::int32_t kDefaultWaitSeconds = 5;
constexpr std::int32_t kMaxWaitSeconds = 3600;
constexpr std::int32_t kMaxAnswerBytes = 262144;

// The log text for an answer that cannot be read.
struct FaultText {
    Fault fault;
    const char* text;
};
constexpr FaultText kFaultTexts[] = {
    {Fault::first_tag, "strtok parsing 'Response Status: ' response tag failed"},
    {Fault::status_format, "error: FSMCore response not in the FSMC-NNN format"},
    {Fault::count_tag, "strtok parsing 'Parameter Count: ' response tag failed"},
    {Fault::count_number,
     "number of parameters after 'Parameter Count: ' response statement is not a valid number"},
    {Fault::length_tag,
     "strtok parsing 'ParamNNN Length: ' response tag failed, not a well formed response from "
     "FSMCore"},
    {Fault::length_number,
     "parameter length after 'ParamNNN Length: ' response statement is not a valid number, not a "
     "well formed response from FSMCore"},
    {Fault::value_tag,
     "strtok parsing 'ParamNNN: ' response tag failed, not a well formed response from FSMCore"},
    {Fault::value_mismatch,
     "strtok parsing 'ParamNNN: ' response tag failed, not a well formed response from FSMCore"},
    {Fault::trailing,
     "strtok parsing '\\n' response tag failed, not a well formed response from FSMCore"},
};

// One request to the core and its answer, in one of the two forms.
class CoreCall final {
  public:
    CoreCall(Form form, const Request& request)
        : form_(form),
          request_(request),
          deadline_(Clock::now() + std::chrono::seconds(wait_seconds())) {}

    int run(const char* socket_path, fsmcore_format::Response& response) {
        const std::optional<std::string> text = compose_request(form_, request_);
        if (!text) {
            return fail_to_send(EINVAL);
        }
        if (form_ == Form::plain && text->size() > kBufferBytes) {
            return fail_to_send(EMSGSIZE);
        }
        if (!connect(socket_path)) {
            log("error opening socket FSMCore clientside");
            return FSMCORE_CONNECT_FAILED;
        }
        if (!send_until(socket_.get(), *text, deadline_)) {
            return fail_to_send(errno);
        }
        std::string answer;
        const bool is_received =
            form_ == Form::plain ? receive_plain(answer) : receive_length_managed(answer);
        if (!is_received) {
            return FSMCORE_RECEIVE_FAILED;
        }
        const fsmcore_format::ParseResult result = parse_response(answer, response);
        if (!result) {
            response = {};
            log_fault(result);
            return FSMCORE_RECEIVE_FAILED;
        }
        return response.status;
    }

  private:
    std::int32_t wait_seconds() const {
        std::int32_t seconds = 0;
        return parse_int32(request_.waittime.c_str(), 10, &seconds) == PARSE_NUMBER_OK &&
                       seconds >= 1 && seconds <= kMaxWaitSeconds
                   ? seconds
                   : kDefaultWaitSeconds;
    }

    // The core may be starting, so a few attempts follow each other; all within the wait time.
    bool connect(const char* socket_path) {
        for (int attempt = 1;; ++attempt) {
            const auto rest =
                std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
            if (rest <= 0) {
                return false;
            }
            socket_.reset(make_localtcpclient_socket(socket_path, static_cast<int>(rest)));
            if (socket_ || attempt == kConnectAttempts) {
                return static_cast<bool>(socket_);
            }
            std::this_thread::sleep_for(kConnectPause);
        }
    }

    bool receive_plain(std::string& answer) {
        if (receive_until(socket_.get(), answer, deadline_) < 0) {
            log(std::string("recv reading response failed with error '") + strerror(errno) + "'");
            return false;
        }
        // A peer that is written in C may send the terminator of its text along.
        answer.resize(std::min(answer.find('\0'), answer.size()));
        return true;
    }

    // The length line may be cut anywhere, also from the body.
    bool receive_length_managed(std::string& answer) {
        std::string text;
        std::size_t line_end = text.find('\n');
        while (line_end == std::string::npos &&
               text.size() <= fsmcore_format::kMaxLengthLineBytes) {
            if (!receive_more(text)) {
                return false;
            }
            line_end = text.find('\n');
        }
        const std::optional<std::size_t> length = announced_length(text.substr(0, line_end));
        if (!length) {
            return false;
        }
        answer = text.substr(line_end + 1);
        while (answer.size() < *length) {
            if (!receive_more(answer)) {
                return false;
            }
        }
        answer.resize(*length);
        return true;
    }

    bool receive_more(std::string& text) const {
        const ssize_t received = receive_until(socket_.get(), text, deadline_);
        if (received > 0) {
            return true;
        }
        error(
            "FSMCoreutil->%s recv reading request failed with error '%s', continuing for the "
            "next request",
            name(), received == 0 ? kClosedByPeer : strerror(errno));
        return false;
    }

    std::optional<std::size_t> announced_length(const std::string& line) const {
        using fsmcore_format::kResponseLengthTag;
        const std::size_t tag_bytes = kResponseLengthTag.size();
        if (line.size() > fsmcore_format::kMaxLengthLineBytes ||
            strncasecmp(line.c_str(), kResponseLengthTag.data(), tag_bytes) != 0) {
            log("strtok parsing 'LengthResponseIs: ' response tag failed");
            return std::nullopt;
        }
        const std::optional<std::int32_t> length = fsmcore_format::parse_length_line(
            line, kResponseLengthTag, fsmcore_format::Letters::any_case);
        if (!length || *length > kMaxAnswerBytes) {
            error(
                "FSMCoreutil->%s length of request after 'LengthResponseIs: ' response statement "
                "is not a valid number '%s', continuing for the next request",
                name(), escape_control_characters(line.substr(tag_bytes)).c_str());
            return std::nullopt;
        }
        return static_cast<std::size_t>(*length);
    }

    int fail_to_send(int cause) const {
        log(std::string("send writing request failed with error '") + strerror(cause) + "'");
        return FSMCORE_SEND_FAILED;
    }

    void log_fault(const fsmcore_format::ParseResult& result) const {
        if (result.fault == Fault::status_number) {
            std::int32_t number = 0;
            const bool is_too_large =
                parse_int32(result.offending.c_str(), 10, &number) == PARSE_NUMBER_RANGE;
            log(std::string("error strtol with error '") +
                strerror(is_too_large ? ERANGE : EINVAL) + "'");
            return;
        }
        for (const FaultText& entry : kFaultTexts) {
            if (entry.fault == result.fault) {
                log(entry.text);
            }
        }
    }

    void log(const std::string& text) const {
        error("FSMCoreutil->%s %s for function '%s'", name(), text.c_str(),
              request_.function.c_str());
    }

    const char* name() const {
        return form_ == Form::plain ? "fsmcore_request" : "fsmcore_request_lengthmgm";
    }

    Form form_;
    const Request& request_;
    Clock::time_point deadline_;
    FileDescriptor socket_;
};

}  // namespace

int fsmcore_call(const char* socket_path, Form form, const Request& request,
                 fsmcore_format::Response& response) {
    response = {};
    return CoreCall(form, request).run(socket_path, response);
}
