#include "hue_handler/BridgeObject.h"

#include "libcbase/memory.h"
#include "libcbase/utility.h"

namespace hue_handler {
namespace {

constexpr struct {
    const char* name;
    std::string BridgeObject::*value;
} kRequired[] = {
    {"username", &BridgeObject::username},
    {"ip_address", &BridgeObject::ip_address},
};

}  // namespace

std::string BridgeObject::query(std::uint32_t id) {
    return "SELECT optionalp FROM vexad_object WHERE id = " +
           std::to_string(static_cast<std::int32_t>(id));
}

std::vector<const char*> BridgeObject::read(const std::string& optionalp) {
    const LinkedListOwner variables(parse_optionalp_variables(optionalp.c_str()));
    std::vector<const char*> missing;
    for (const auto& parameter : kRequired) {
        const optionalpvariable* const variable =
            optionalp_variables_searchbyname(variables.get(), parameter.name);
        if (variable == nullptr || variable->type != OPTIONALP_STRING ||
            variable->value == nullptr) {
            missing.push_back(parameter.name);
        } else {
            this->*parameter.value = variable->value;
        }
    }
    const optionalpvariable* const unknown =
        optionalp_variables_searchbyname(variables.get(), "unknown_models");
    unknown_models.reset();
    if (unknown != nullptr) {
        unknown_models = text_or_empty(unknown->value);
    }
    return missing;
}

}  // namespace hue_handler
