/// A bridge that answers each request with the next part of a fuzz program's input, whatever was
/// asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/support/Surroundings.h"
#include "huelib/JsonAccess.h"
#include "huelib/LinHttpHandler.h"

namespace fuzzing {

/// The input's parts, which are separated by lines of two hyphens; one at least.
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
    };

    /// Answers with the parts from index `first` on, then with "null".
    explicit ScriptedBridge(std::vector<std::string> parts, std::size_t first = 0)
        : answers_(std::move(parts)), next_(first) {}

    std::string sendHTTPRequest(std::string method, std::string uri, std::string, std::string body,
                                const std::string&, int) const override {
        std::string answer = next_ < answers_.size() ? answers_[next_++] : "null";
        requests_.push_back({std::move(method), std::move(uri), std::move(body), answer});
        return answer;
    }

    const std::vector<Request>& requests() const { return requests_; }
    /// Whether the last answer was none that a bridge's JSON interface can give.
    bool gave_no_json() const {
        Json::Value ignored;
        return !requests_.empty() && !JsonAccess::parse(requests_.back().answer, ignored);
    }

  private:
    std::vector<std::string> answers_;
    mutable std::size_t next_;
    mutable std::vector<Request> requests_;
};

}  // namespace fuzzing
