/// A bridge that answers every request with the next part of a fuzz program's input. The parts
/// "reset" and "refused" are failures of the connection.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/support/Surroundings.h"
#include "huelib/JsonAccess.h"
#include "huelib/LinHttpHandler.h"

namespace fuzzing {

/// The parts of the input, separated by lines of two hyphens; at least one.
inline std::vector<std::string> parts_of(const std::uint8_t* data, std::size_t size) {
    constexpr const char* kSeparator = "\n--\n";
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = text.find(kSeparator); end != std::string::npos;
         end = text.find(kSeparator, start)) {
        parts.push_back(text.substr(start, end - start));
        start = end + std::char_traits<char>::length(kSeparator);
    }
    parts.push_back(text.substr(start));
    return parts;
}

class ScriptedBridge final : public LinHttpHandler {
  public:
    struct Request {
        std::string method, uri, body;
        std::string answer;
        std::chrono::steady_clock::time_point started;
    };

    /// Answers with the parts from index `first` on, then with "null".
    explicit ScriptedBridge(std::vector<std::string> parts, std::size_t first = 0)
        : answers_(std::move(parts)), next_(first) {}

    std::string sendHTTPRequest(std::string method, std::string uri, std::string, std::string body,
                                const std::string&, int) const override {
        std::string answer = next_ < answers_.size() ? answers_[next_++] : "null";
        requests_.push_back({std::move(method), std::move(uri), std::move(body), answer,
                             std::chrono::steady_clock::now()});
        if (answer == "reset" || answer == "refused") {
            throw std::system_error(answer == "reset" ? ECONNRESET : ECONNREFUSED,
                                    std::generic_category());
        }
        return answer;
    }

    const std::vector<Request>& requests() const { return requests_; }
    /// Whether the last request failed or its answer was not JSON.
    bool has_failed() const { return !requests_.empty() && is_failure(requests_.back()); }

    /// Ends the run if a request was sent too soon after a successful one.
    void require_pacing() const {
        for (std::size_t i = 1; i < requests_.size(); ++i) {
            require(is_failure(requests_[i - 1]) ||
                        requests_[i].started - requests_[i - 1].started >= kPacing,
                    "requests to a bridge keep their distance");
        }
    }

  private:
    // The clock is read twice between the wait and the start that is recorded here.
    static constexpr std::chrono::nanoseconds kPacing =
        std::chrono::milliseconds(100) - std::chrono::microseconds(10);

    static bool is_failure(const Request& request) {
        Json::Value ignored;
        return !JsonAccess::parse(request.answer, ignored);
    }

    std::vector<std::string> answers_;
    mutable std::size_t next_;
    mutable std::vector<Request> requests_;
};

}  // namespace fuzzing
