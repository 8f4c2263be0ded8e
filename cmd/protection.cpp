// What `hwocp` and `fuses` share: the state that protects an element, and the label that says which element it is.

#include "cmd/protection.h"

#include <iterator>

#include "core/log.h"
#include "core/render.h"
#include "core/walkers.h"
#include "core/ztd_shm.h"

static bool has_state(const protection &what, const element &at)
{
    return elecmon_caps_shm(at.port, at.pdu, at.number, at.type, what.mask) == 0 ||
           check_elem_caps(at.port, at.pdu, at.number, at.type, what.capability) == 0;
}

static const protected_type *type_with_state(const protection &what, int type)
{
    const bool is_elem = static_cast<size_t>(type) < std::size(what.types);
    return is_elem && what.types[type].word ? &what.types[type] : nullptr;
}

static int read_name(const protected_type &type, const element &at, owned_text &name)
{
    if (!type.name) {
        name = number_text(at.number);
        return name ? 0 : 1;
    }
    if (shm_usable() < 0)
        return type.name(cli_tsapi, into(name), nullptr, at.port, at.pdu, at.number);
    return node_info_shm(at.port, at.pdu, at.number, at.type, info_elem_sys_name, into(name), nullptr);
}

static int read_state(const protected_type &type, uint32_t mask, const element &at, owned_text &state)
{
    if (shm_usable() < 0)
        return type.state(cli_tsapi, into(state), nullptr, at.port, at.pdu, at.number);
    return elecmon_elem_info_shm(at.port, at.pdu, at.number, at.type, mask, into(state));
}

static int make_label(const protected_type &type, const owned_text &name, owned_text &label)
{
    if (is_empty(name))
        return 1;
    label = joined_text({"in ", type.word, " ", name.get(), " "});
    return label ? 0 : 1;
}

int read_protection(const protection &what, const element &at, owned_text &label, owned_text &state)
{
    if (!has_state(what, at))
        return log_failure("Node %s unavailable for %d@%d@%d", what.log_word, at.number, at.pdu, at.port);
    const protected_type *type = type_with_state(what, at.type);
    if (!type)
        return log_failure("Invalid element for %s %d@%d@%d, type %d", what.log_command, at.number, at.pdu, at.port,
                           at.type);
    owned_text name;
    bool name_lost = read_name(*type, at, name) != 0;
    // The state is asked for even then.
    bool state_lost = read_state(*type, what.mask, at, state) != 0;
    if (name_lost)
        return log_failure("Fail to get name for element %d@%d@%d, type %d", at.number, at.pdu, at.port, at.type);
    if (state_lost)
        return log_failure("Fail to get %s for element %d@%d@%d, type %d", what.log_word, at.number, at.pdu, at.port,
                           at.type);
    return make_label(*type, name, label);
}
