#include "ObservingHttpHandler.h"

#include <algorithm>
#include <utility>

#include "Text.h"
#include "huelib/JsonAccess.h"

namespace huectl {
namespace {

struct Advice {
    unsigned type;
    const char* text;
};
constexpr Advice kAdvice[] = {
    {Refusal::kUnauthorized, "; pair with it again: huectl pair ADDRESS"},
    {Refusal::kNotAvailable, "; huectl lights lists the lights"},
    {Refusal::kLinkButtonNotPressed, "; press the button on the bridge and try again"},
    {Refusal::kLightIsOff, "; add --on"},
};

std::string advice_for(unsigned type) {
    const auto* found = std::find_if(std::begin(kAdvice), std::end(kAdvice),
                                     [type](const Advice& advice) { return advice.type == type; });
    return found != std::end(kAdvice) ? found->text
                                      : "; huectl lights shows the state of the lights";
}

// An answer is an array. Each element is an "error" or, after a change, a "success".
std::optional<Refusal> refusal_in(const Json::Value& answer, bool is_change) {
    bool is_confirmed = false;
    for (Json::ArrayIndex i = 0; answer.isArray() && i < answer.size(); ++i) {
        const Json::Value& error = JsonAccess::member(answer[i], "error");
        if (!error.isNull()) {
            return Refusal{JsonAccess::asUnsigned(JsonAccess::member(error, "type")),
                           JsonAccess::asString(JsonAccess::member(error, "description"))};
        }
        is_confirmed = is_confirmed || !JsonAccess::member(answer[i], "success").isNull();
    }
    return is_change && !is_confirmed
               ? std::make_optional(Refusal{Refusal::kNotConfirmed, std::string()})
               : std::nullopt;
}

}  // namespace

std::string Refusal::text() const {
    constexpr std::size_t kDescriptionCharacters = 200;
    if (type == kNotConfirmed && description.empty()) {
        return "the bridge did not confirm the change" + advice_for(type);
    }
    const std::string words = printable(description, kDescriptionCharacters);
    return "the bridge says \"" + (words.empty() ? "error " + std::to_string(type) : words) + "\"" +
           advice_for(type);
}

std::string ObservingHttpHandler::sendHTTPRequest(std::string method, std::string uri,
                                                  std::string content_type, std::string body,
                                                  const std::string& adr, int port) const {
    const bool is_change = method == "PUT" || method == "DELETE";
    std::string answer = LinHttpHandler::sendHTTPRequest(
        std::move(method), std::move(uri), std::move(content_type), std::move(body), adr, port);
    Json::Value json;
    if (JsonAccess::parse(answer, json)) {
        auto refusal = refusal_in(json, is_change);
        if (refusal) {
            refusal_ = std::move(refusal);
        }
    }
    return answer;
}

std::optional<Refusal> ObservingHttpHandler::take_refusal() const {
    return std::exchange(refusal_, std::nullopt);
}

}  // namespace huectl
