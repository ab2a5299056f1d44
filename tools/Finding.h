/// What "huectl check" finds: the kinds, which are data, and one finding. Pure.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <json/value.h>

#include "Failure.h"

namespace huectl {

enum class Severity { error, warning, information };
/// In the order of Severity.
inline constexpr std::array kSeverities = {"error", "warning", "information"};

struct FindingKind {
    const char* name;  ///< in JSON; stable
    Severity severity;
    ExitCode exit_code;  ///< of the tool, if nothing worse is found
    const char* text;    ///< what is wrong
    const char* remedy;  ///< what to do, in the imperative
};

struct Finding {
    const FindingKind* kind;
    int object = 0;      ///< of the controller; 0 for none
    int light = 0;       ///< number on the bridge; 0 for none
    std::string detail;  ///< appended to the text; may come from outside

    /// "error: object 111 (light 1): text: detail; remedy", with its line feed.
    std::string line() const;
    /// A missing object or light is left out.
    Json::Value json() const;
};
using Findings = std::vector<Finding>;

/// The kinds. Findings are shown by severity, and then in the order of the checks.
namespace finding {

inline constexpr FindingKind kDatabaseNotReached{
    "database_not_reached", Severity::error, ExitCode::not_reached,
    "the database service does not listen on 127.0.0.1, port 45168",
    "run this command on the board, and start the database service"};
inline constexpr FindingKind kDatabaseNoAnswer{
    "database_no_answer", Severity::error, ExitCode::not_reached,
    "the database service gave no valid answer",
    "read the log of the database service, and check that no other program uses port 45168"};
inline constexpr FindingKind kDatabaseRefused{
    "database_refused", Severity::error, ExitCode::not_reached,
    "the database service refused a query",
    "check that the tables vexad_object and vexad_object_relation exist"};
inline constexpr FindingKind kObjectUnknown{"object_unknown", Severity::error, ExitCode::refused,
                                            "the database has no such object",
                                            "give the ID of the bridge object, or add it"};
inline constexpr FindingKind kParameterMissing{
    "parameter_missing", Severity::error, ExitCode::refused,
    "an optional parameter is missing or no text in quotes",
    "put the text that huectl pair prints into the column optionalp"};
inline constexpr FindingKind kParameterInvalid{
    "parameter_invalid", Severity::error, ExitCode::refused,
    "an optional parameter cannot be used in a request",
    "put the text that huectl pair prints into the column optionalp"};
inline constexpr FindingKind kBridgeNotReached{
    "bridge_not_reached", Severity::error, ExitCode::not_reached, "the bridge was not reached",
    "check its power and network cable, and correct ip_address if it has another address"};
inline constexpr FindingKind kNotABridge{
    "not_a_bridge", Severity::error, ExitCode::not_reached,
    "the device does not answer like a bridge",
    "correct ip_address; give the bridge a fixed address in the router"};
inline constexpr FindingKind kUserUnauthorized{
    "user_unauthorized", Severity::error, ExitCode::refused,
    "the bridge does not accept the user name",
    "pair again (huectl pair ADDRESS) and store the new text in the column optionalp"};
inline constexpr FindingKind kBridgeRefused{
    "bridge_refused", Severity::error, ExitCode::refused, "the bridge refused to list its lights",
    "wait a minute and try again; if that does not help, restart the bridge"};

inline constexpr FindingKind kMspInvalid{"msp_invalid", Severity::error, ExitCode::refused,
                                         "msp is not a number in 1..255",
                                         "set it to the light's number in huectl lights"};
inline constexpr FindingKind kMspTwice{"msp_twice", Severity::error, ExitCode::refused,
                                       "another light object has the same msp",
                                       "correct the msp of one, or remove one"};
inline constexpr FindingKind kRowInvalid{
    "row_invalid", Severity::error, ExitCode::refused, "the daemon skips a row of the light table",
    "correct the row in vexad_object_relation; no value may contain a comma or a line feed"};
inline constexpr FindingKind kLightMissing{"light_missing", Severity::error, ExitCode::refused,
                                           "the bridge does not have this light",
                                           "correct msp, or add the light in the bridge's app"};
inline constexpr FindingKind kModelUnknown{
    "model_unknown", Severity::error, ExitCode::refused,
    "the daemon does not know the light's model and does not drive it",
    "add |unknown_models='by_type' to the bridge object's optional parameters"};
inline constexpr FindingKind kTypeUnknown{
    "type_unknown", Severity::error, ExitCode::refused,
    "the daemon knows neither the light's model nor its type and does not drive it",
    "report the model, and remove the light object"};
inline constexpr FindingKind kOnOffMissing{
    "on_off_missing", Severity::error, ExitCode::refused,
    "the light has no on_off object, so the daemon carries out no command for it",
    "add an object with the role on_off"};
inline constexpr FindingKind kRoleUnknown{
    "role_unknown", Severity::error, ExitCode::refused,
    "the relation does not name one role of on_off, value, temperature, r, g, b, hsv",
    "correct tag_complex_element in the relation's column optional"};
inline constexpr FindingKind kRoleTaken{
    "role_taken", Severity::error, ExitCode::refused,
    "a later object has the same role of the light, and only the last one counts",
    "remove one of the two relations"};

inline constexpr FindingKind kUnknownModelsInvalid{
    "unknown_models_invalid", Severity::warning, ExitCode::refused,
    "the only value of the parameter unknown_models is 'by_type', and the daemon ignores another",
    "correct or remove it"};
inline constexpr FindingKind kUnreachable{
    "light_unreachable", Severity::warning, ExitCode::refused,
    "the bridge has no contact with the light now",
    "switch its power on, or reduce the distance to the next light"};
inline constexpr FindingKind kRoleImpossible{
    "role_impossible", Severity::warning, ExitCode::refused,
    "a light of this class cannot do the role",
    "remove the relation; the daemon ignores commands for it"};
inline constexpr FindingKind kObjectTwice{
    "object_twice", Severity::warning, ExitCode::refused,
    "the object has several roles, and a command drives only one", "remove the other relations"};
inline constexpr FindingKind kColourIncomplete{
    "colour_incomplete", Severity::warning, ExitCode::refused,
    "changes of the colour are reported only to r, g and b together", "add the missing objects"};

inline constexpr FindingKind kRoleMissing{
    "role_missing", Severity::information, ExitCode::done, "the object has no role",
    "if it shall drive the light, set optional to tag_complex_element='ROLE'"};
inline constexpr FindingKind kNotDriven{"light_not_driven", Severity::information, ExitCode::done,
                                        "no object drives this light of the bridge",
                                        "to use it, add a light object with this msp"};

}  // namespace finding
}  // namespace huectl
