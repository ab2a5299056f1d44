// The answer of a bridge: receiving it, header and body, and the JSON in it.
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "fuzz/support/ScriptedPeer.h"
#include "fuzz/support/Surroundings.h"
#include "huelib/LinHttpHandler.h"

namespace {

using fuzzing::Cuts;
using fuzzing::End;
using fuzzing::require;

constexpr std::size_t kLongestAnswer = 1000;
constexpr std::size_t kReadBytes = 127;

// The answer, or nothing and the errno of the failure (0 for other failures).
std::pair<std::optional<std::string>, int> receive(std::string_view bytes, Cuts cuts, End end) {
    const fuzzing::ScriptedPeer peer(bytes, cuts, end);
    LinHttpHandler::Limits limits;
    limits.answerBytes = kLongestAnswer;
    std::pair<std::optional<std::string>, int> seen(std::nullopt, 0);
    try {
        seen.first = LinHttpHandler::exchange("GET / HTTP/1.0\r\n\r\n", "127.0.0.1", 80, limits);
    } catch (const std::system_error& failure) {
        seen.second = failure.code().value();
    } catch (const std::runtime_error& failure) {
        require(failure.what() ==
                    std::string_view("LinHttpHandler: Failed to store complete response from "
                                     "socket\n"),
                "a failure has the documented text");
    }
    require(peer.taken() <= kLongestAnswer + kReadBytes, "the received size is limited");
    return seen;
}

void check_receiving(std::string_view bytes, Cuts cuts) {
    const auto [answer, problem] = receive(bytes, cuts, End::closes);
    if (bytes.size() > kLongestAnswer) {
        require(!answer && problem == EMSGSIZE, "an answer that is too long is refused");
    } else if (bytes.size() == 3) {
        require(!answer && problem == 0, "an answer of three bytes is refused");
    } else {
        require(answer == bytes, "an answer is received unchanged");
    }
    if (const End end = fuzzing::end_of(bytes); end != End::closes && !bytes.empty()) {
        require(!receive(bytes, cuts, end).first, "an answer without an end is refused");
    }
}

// Answers every request with the input.
class Peer final : public BaseHttpHandler {
  public:
    explicit Peer(std::string_view bytes) : bytes_(bytes) {}
    std::string send(const std::string&, const std::string&, int) const override {
        return std::string(bytes_);
    }
    std::vector<std::string> sendMulticast(const std::string&, const std::string&, int,
                                           int) const override {
        return {};
    }

  private:
    std::string_view bytes_;
};

void check_body(std::string_view bytes) {
    const Peer peer(bytes);
    const std::size_t header_end = bytes.find("\r\n\r\n");
    try {
        const std::string body = peer.GETString("/", "text/plain", "", "bridge", 80);
        require(header_end != std::string_view::npos && body == bytes.substr(header_end + 4),
                "the body follows the first empty line");
        peer.GETJson("/", Json::Value(Json::objectValue), "bridge", 80);
    } catch (const std::runtime_error& failure) {
        const std::string_view text = failure.what();
        require(header_end == std::string_view::npos
                    ? text == "BaseHttpHandler: Failed to find body in response"
                    : text ==
                          "BaseHttpHandler: Error while parsing JSON in function "
                          "strToJsonValue()",
                "a failure has the documented text");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const Cuts cuts : fuzzing::kAllCuts) {
        check_receiving(bytes, cuts);
    }
    check_body(bytes);
    return 0;
}
