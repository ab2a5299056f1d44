/// A bridge that answers every request with the next part of a fuzz program's input. The parts
/// "reset" and "refused" are failures of the connection.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/support/Surroundings.h"
#include "huelib/JsonAccess.h"
#include "huelib/LinHttpHandler.h"

namespace fuzzing {

/// The parts of the input, separated by lines of two hyphens; at least one.
inline std::vector<std::string> parts_of(std::string_view input) {
    constexpr std::string_view kSeparator = "\n--\n";
    std::vector<std::string> parts;
    for (std::size_t end = input.find(kSeparator); end != std::string_view::npos;
         end = input.find(kSeparator)) {
        parts.emplace_back(input.substr(0, end));
        input.remove_prefix(end + kSeparator.size());
    }
    parts.emplace_back(input);
    return parts;
}

class ScriptedBridge final : public LinHttpHandler {
  public:
    struct Request {
        std::string method, uri, body;
        std::string answer;
        std::chrono::steady_clock::time_point started;
        bool has_failed;  ///< or its answer is not JSON
    };

    /// Answers with the parts from index `first` on, then with "null".
    explicit ScriptedBridge(std::vector<std::string> parts, std::size_t first = 0)
        : answers_(std::move(parts)), next_(first) {}

    std::string sendHTTPRequest(std::string method, std::string uri, std::string, std::string body,
                                const std::string&, int) const override {
        std::string answer = next_ < answers_.size() ? answers_[next_++] : "null";
        Json::Value ignored;
        requests_.push_back({std::move(method), std::move(uri), std::move(body), answer,
                             std::chrono::steady_clock::now(),
                             !JsonAccess::parse(answer, ignored)});
        if (answer == "reset" || answer == "refused") {
            throw std::system_error(answer == "reset" ? ECONNRESET : ECONNREFUSED,
                                    std::generic_category());
        }
        return answer;
    }

    const std::vector<Request>& requests() const { return requests_; }
    bool has_failed() const { return !requests_.empty() && requests_.back().has_failed; }

    /// Ends the run if a request was sent too soon after a successful one.
    void require_pacing() const {
        for (std::size_t i = 1; i < requests_.size(); ++i) {
            require(requests_[i - 1].has_failed ||
                        requests_[i].started - requests_[i - 1].started >= kPacing,
                    "requests to a bridge keep their distance");
        }
    }

  private:
    // The clock is read twice between the wait and the start that is recorded here.
    static constexpr std::chrono::nanoseconds kPacing =
        std::chrono::milliseconds(100) - std::chrono::microseconds(10);

    std::vector<std::string> answers_;
    mutable std::size_t next_;
    mutable std::vector<Request> requests_;
};

}  // namespace fuzzing
