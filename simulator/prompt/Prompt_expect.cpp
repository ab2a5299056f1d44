// The command expect.
#include "simulator/JsonText.h"
#include "simulator/prompt/Prompt.h"

namespace simulator {
namespace {

constexpr double kExpectSeconds = 10;
constexpr double kSettleSeconds = 0.03;  // prints the expected events first

constexpr const char* kFound = "found";
constexpr const char* kNotFound = "not found";

}  // namespace

std::string Prompt::light_text(int id, const std::string& field) {
    if (field == "name") {
        return house_.light(id).name();
    }
    const Json::Value value = house_.light(id).state(field == "power" ? "on" : field);
    if (value.isBool()) {
        return value.asBool() ? "on" : "off";
    }
    if (value.isArray() && value.size() == 2) {
        return compact_json(value[0]) + " " + compact_json(value[1]);
    }
    return value.isNull() ? "" : value.asString();
}

// `what`: the words after "expect".
std::optional<Prompt::Expectation> Prompt::expectation_of(const Words& what) {
    const std::string text = joined(what.begin() + 1, what.end());
    int id = 0;
    if (what[0] == "log") {
        return Expectation{kFound, [this, text] {
                               return house_.journal().count(EventKind::log, text, heading_) > 0
                                          ? kFound
                                          : kNotFound;
                           }};
    }
    if (what[0] == "printed") {
        return Expectation{kFound, [this, text] {
                               return printed_->find(text) != std::string::npos ? kFound
                                                                                : kNotFound;
                           }};
    }
    if (what[0] == "light" && what.size() > 3 && to_number(what[1], id)) {
        return Expectation{joined(what.begin() + 3, what.end()),
                           [this, id, field = what[2]] { return light_text(id, field); }};
    }
    if (what[0] == "object" && what.size() > 2 && to_number(what[1], id)) {
        return Expectation{joined(what.begin() + 2, what.end()),
                           [this, id] { return house_.core().value(id).value_or("not reported"); }};
    }
    return std::nullopt;
}

// Empty if the expectation can be checked.
std::string Prompt::why_not_checked(const Words& what) {
    if (what[0] == "log" && house_.log() == nullptr) {
        return "/dev/log is in use";
    }
    return what[0] == "printed" && !printed_ ? "huectl was not run" : "";
}

bool Prompt::expect(const Words& words) {
    Words what(words.begin() + 1, words.end());
    double seconds = kExpectSeconds;
    if (what.size() > 3 && *(what.end() - 2) == "within") {
        if (!to_seconds(what.back(), seconds)) {
            return fail("not a number of seconds: " + what.back());
        }
        what.resize(what.size() - 2);
    }
    const std::string text = joined(what.begin(), what.end());
    const std::string reason = why_not_checked(what);
    if (!reason.empty()) {
        console_.print("           not checked, " + reason + ": " + text);
        return true;
    }
    const auto expected = expectation_of(what);
    if (!expected) {
        return fail(
            "usage: expect light ID FIELD VALUE, expect object ID VALUE, expect log TEXT, "
            "expect printed TEXT");
    }
    if (!wait_until([&] { return expected->current() == expected->wanted; }, seconds)) {
        return fail("expected " + text + ", but it is " + expected->current());
    }
    wait_until([] { return false; }, kSettleSeconds);
    console_.print("           as expected: " + text);
    return true;
}

}  // namespace simulator
