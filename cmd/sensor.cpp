// One environment monitor in the control tree, as the forms of `sensors` ask it.

#include "cmd/sensor.h"

#include <cstring>

#include "client/tree.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"
#include "core/walkers.h"

int read_leaf(const sensor &at, envmon_info info, owned_text &text)
{
    return info(cli_tsapi, into(text), nullptr, at.port, at.pdu, at.envmon);
}

int read_sys_name(const sensor &at, owned_text &text)
{
    return read_leaf(at, vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_sysName, text);
}

int read_unit(const sensor &at, owned_text &text)
{
    return read_leaf(at, vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_unit, text);
}

int write_leaf(const sensor &at, envmon_admin admin, const char *value)
{
    const char *args[] = {value, nullptr};
    return admin(cli_tsapi, args, at.port, at.pdu, at.envmon);
}

bool has_leaf(const sensor &at, const char *name)
{
    if (check_envmon_caps(at.port, at.pdu, at.envmon, name) == 0)
        return true;
    log_failure("Node %s unavailable for %d@%d@%d", name, at.envmon, at.pdu, at.port);
    return false;
}

int model_of(const sensor &at)
{
    int model = pdu2model(at.port, at.pdu);
    if (model < 0)
        log_failure("Fail to get model from pdu %d@%d", at.pdu, at.port);
    return model;
}

// What the tree's type text holds, in the order in which it is searched, and what the user reads for it.
static constexpr struct {
    const char *mark;
    const char *name;
} sensor_types[] = {
    {"internal-temperature", "internal temperature"},
    {"external-temperature", "external temperature"},
    {"humidity", "humidity"},
    {"dry-contact", "dry-contact"},
    {"water-level", "water-level"},
    {"motion", "motion"},
    {"smoke", "smoke"},
    {"air-flow", "air-flow"},
    {"UNDEFINED", "UNDEFINED"},
};

static const char *sensor_type_name(const char *type_text)
{
    for (const auto &type : sensor_types)
        if (strstr(type_text, type.mark))
            return type.name;
    return nullptr;
}

const char *known_type(const sensor &at, const owned_text &type)
{
    const char *name = sensor_type_name(text_or_empty(type));
    if (!name)
        log_failure("Fail to get string type %s for %d@%d@%d", text_or_empty(type), at.envmon, at.pdu, at.port);
    return name;
}

int read_type(const sensor &at, owned_text &text)
{
    return read_leaf(at, vrn_tsapi_info_power_port_star0_pdu_star1_envmon_star2_type, text);
}

const char *read_type_name(const sensor &at)
{
    owned_text type;
    read_type(at, type);
    return known_type(at, type);
}

void render_value(const char *unit, owned_text &value)
{
    char *rendered;
    if (sensor_value_str(unit, value.get(), &rendered))
        value.reset(rendered);
}
