// Walks the tree by ports, units and elements. Each value of a block is a row that says with which operation a node of
// each kind is asked for it; the leaf's name, its bit and its form come from the layout of the segment.

#include "appliance/ztd_ng/poll.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "appliance/ztd_ng/values.h"
#include "client/frame.h"
#include "client/tree.h"
#include "client/types.h"

using unit_info = int (*)(vrn_tsapi_handle *, char **, const char *const *, int, int);
using elem_info = int (*)(vrn_tsapi_handle *, char **, const char *const *, int, int, int);
using elem_list = int (*)(vrn_tsapi_handle *, paramtype_int_list **, int, int);
using elem_names = int (*)(vrn_tsapi_handle *, paramtype_UTF8String_list **, int, int, int);

// The operations that read one value; null where a kind of node never has it.
struct value_operations {
    uint32_t mask;
    unit_info unit;
    elem_info phase;
    elem_info circuit;
    elem_info outlet;
};

#define EVERY_KIND(leaf)                                                                                               \
    vrn_tsapi_info_power_port_star0_pdu_star1_##leaf, vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_##leaf,    \
        vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_##leaf,                                                \
        vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_##leaf

// In the order of shm_values.
static constexpr value_operations value_table[] = {
    {shm_mask_current, EVERY_KIND(current)},
    {shm_mask_current_min, EVERY_KIND(currentMin)},
    {shm_mask_current_max, EVERY_KIND(currentMax)},
    {shm_mask_current_avg, EVERY_KIND(currentAvg)},
    {shm_mask_current_alarm, EVERY_KIND(currentAlarm)},
    {shm_mask_current_warning, EVERY_KIND(currentWarning)},
    {shm_mask_current_low, EVERY_KIND(currentLow)},
    {shm_mask_current_lowcrit, EVERY_KIND(currentLowcrit)},
    {shm_mask_voltage, EVERY_KIND(voltage)},
    {shm_mask_voltage_min, EVERY_KIND(voltageMin)},
    {shm_mask_voltage_max, EVERY_KIND(voltageMax)},
    {shm_mask_voltage_avg, EVERY_KIND(voltageAvg)},
    {shm_mask_voltage_type, EVERY_KIND(voltageType)},
    {shm_mask_power, EVERY_KIND(power)},
    {shm_mask_power_min, EVERY_KIND(powerMin)},
    {shm_mask_power_max, EVERY_KIND(powerMax)},
    {shm_mask_power_avg, EVERY_KIND(powerAvg)},
    {shm_mask_power_type, EVERY_KIND(powerType)},
    {shm_mask_power_factor, EVERY_KIND(powerFactor)},
    {shm_mask_power_factor_min, EVERY_KIND(powerFactorMin)},
    {shm_mask_power_factor_max, EVERY_KIND(powerFactorMax)},
    {shm_mask_power_factor_avg, EVERY_KIND(powerFactorAvg)},
    {shm_mask_power_factor_type, EVERY_KIND(powerFactorType)},
    {shm_mask_cumulative_watthour, EVERY_KIND(cumulativeWatthour)},
    {shm_mask_cumulative_starttime, EVERY_KIND(cumulativeStarttime)},
    {shm_mask_hwocp, vrn_tsapi_info_power_port_star0_pdu_star1_hwocp,
     vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_hwocp, nullptr,
     vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_hwocp},
    {shm_mask_blown_fuse, nullptr, nullptr, vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_blownFuse, nullptr},
};

#undef EVERY_KIND

static constexpr bool same_order()
{
    for (size_t i = 0; i < value_count; i++)
        if (value_table[i].mask != shm_values[i].mask)
            return false;
    return std::size(value_table) == value_count;
}
static_assert(same_order());

// How the nodes of one kind inside a unit are found and asked; where its operation stands in a row of the table.
struct elem_kind {
    elem_list list;
    elem_names names;
    elem_info sys_name;
    elem_info value_operations::*operation;
};

static constexpr elem_kind phase_kind = {
    vrn_tsapi_mlist_power_port_star0_pdu_star1_phase,
    vrn_tsapi_mlist_power_port_star0_pdu_star1_phase_star2,
    vrn_tsapi_info_power_port_star0_pdu_star1_phase_star2_sysName,
    &value_operations::phase,
};
static constexpr elem_kind circuit_kind = {
    vrn_tsapi_mlist_power_port_star0_pdu_star1_circuit,
    vrn_tsapi_mlist_power_port_star0_pdu_star1_circuit_star2,
    vrn_tsapi_info_power_port_star0_pdu_star1_circuit_star2_sysName,
    &value_operations::circuit,
};
static constexpr elem_kind outlet_kind = {
    vrn_tsapi_mlist_power_port_star0_pdu_star1_outlet,
    vrn_tsapi_mlist_power_port_star0_pdu_star1_outlet_star2,
    vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_sysName,
    &value_operations::outlet,
};

static constexpr elem_info outlet_name = vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_name;

// What an outlet has besides a block: its leaf, how it is read and converted, where it goes.
struct outlet_leaf {
    uint32_t bit;
    const char *name;
    elem_info info;
    std::optional<int32_t> (*convert)(const std::string &text);
    int32_t outlet_status::*field;
};

static constexpr outlet_leaf outlet_leaves[] = {
    {shm_outlet_ctrl_status, "ctrl-status", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_ctrlStatus,
     ctrl_status_code, &outlet_status::ctrl_status},
    {shm_outlet_mod_status, "mod-status", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_modStatus,
     mod_status_code, &outlet_status::mod_status},
    {shm_outlet_post_on, "post-power-on", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOn,
     stored_interval, &outlet_status::post_on},
    {shm_outlet_post_off, "post-power-off", vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_postPowerOff,
     stored_interval, &outlet_status::post_off},
};

// --- One exchange ---------------------------------------------------------------------------------------------------

// The tree during one poll. After the first broken exchange nothing is asked any more.
struct polled_tree {
    vrn_tsapi_handle *handle;
    bool broken = false;
};

template <class Owner, class Operation, class... Stars>
static Owner ask(polled_tree &tree, Operation operation, Stars... stars)
{
    Owner answer;
    if (tree.broken)
        return answer;
    const int code = operation(tree.handle, into(answer), stars...);
    tree.broken = code != 0 && code != tree_refused && code != tree_not_convertible;
    return answer;
}

template <class Operation, class... Stars>
static std::optional<std::string> text_at(polled_tree &tree, Operation operation, Stars... stars)
{
    const char *const *const no_args = nullptr;
    owned_text text = ask<owned_text>(tree, operation, no_args, stars...);
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

template <class Operation, class... Stars>
static std::vector<int> numbers_at(polled_tree &tree, Operation operation, Stars... stars)
{
    owned_int_list list = ask<owned_int_list>(tree, operation, stars...);
    std::vector<int> numbers;
    for (const paramtype_int_list *node = list.get(); node != nullptr; node = node->next)
        if (node->value > 0)
            numbers.push_back(node->value);
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

// The names of what a node has.
class leaf_names {
public:
    template <class Operation, class... Stars> leaf_names(polled_tree &tree, Operation operation, Stars... stars)
        : list_(ask<owned_text_list>(tree, operation, stars...))
    {
    }
    bool has(const char *leaf) const
    {
        for (const paramtype_UTF8String_list *node = list_.get(); node != nullptr; node = node->next)
            if (strcmp(node->value, leaf) == 0)
                return true;
        return false;
    }

private:
    owned_text_list list_;
};

// --- Nodes ----------------------------------------------------------------------------------------------------------

// Reads what `names` has of a block. `operation` picks the node's operation from a row.
template <class Info, class... Stars> static elecmon_status
poll_values(polled_tree &tree, const leaf_names &names, Info value_operations::*operation, Stars... stars)
{
    elecmon_status status;
    for (size_t i = 0; i < value_count; i++) {
        const Info info = value_table[i].*operation;
        if (info == nullptr || !names.has(shm_values[i].leaf))
            continue;
        const std::optional<std::string> text = text_at(tree, info, stars...);
        const std::optional<int64_t> value = text ? stored_value(shm_values[i].rendering, *text) : std::nullopt;
        if (!value)
            continue;
        status.values[i] = *value;
        status.available |= shm_values[i].mask;
    }
    return status;
}

static std::vector<elem_status> poll_elems(polled_tree &tree, const elem_kind &kind, int port, int pdu)
{
    std::vector<elem_status> elems;
    for (int number : numbers_at(tree, kind.list, port, pdu)) {
        const leaf_names names(tree, kind.names, port, pdu, number);
        elem_status elem{.number = number, .sys_name = {}, .values = {}};
        elem.sys_name = text_at(tree, kind.sys_name, port, pdu, number).value_or("");
        elem.values = poll_values(tree, names, kind.operation, port, pdu, number);
        elems.push_back(std::move(elem));
    }
    return elems;
}

static outlet_status poll_outlet(polled_tree &tree, int port, int pdu, int number)
{
    const leaf_names names(tree, outlet_kind.names, port, pdu, number);
    outlet_status outlet;
    outlet.number = number;
    outlet.name = text_at(tree, outlet_name, port, pdu, number).value_or("");
    outlet.sys_name = text_at(tree, outlet_kind.sys_name, port, pdu, number).value_or("");
    for (const outlet_leaf &leaf : outlet_leaves) {
        if (!names.has(leaf.name))
            continue;
        const std::optional<std::string> text = text_at(tree, leaf.info, port, pdu, number);
        const std::optional<int32_t> value = text ? leaf.convert(*text) : std::nullopt;
        if (!value)
            continue;
        outlet.*leaf.field = *value;
        outlet.capabilities |= leaf.bit;
    }
    outlet.values = poll_values(tree, names, outlet_kind.operation, port, pdu, number);
    return outlet;
}

static unit_status poll_unit(polled_tree &tree, int port, int pdu)
{
    const leaf_names names(tree, vrn_tsapi_mlist_power_port_star0_pdu_star1, port, pdu);
    unit_status unit;
    unit.number = pdu;
    unit.local = text_at(tree, vrn_tsapi_info_power_port_star0_pdu_star1_islocal, port, pdu) == "true";
    unit.id = text_at(tree, vrn_tsapi_info_power_port_star0_pdu_star1_id, port, pdu).value_or("");
    unit.model = text_at(tree, vrn_tsapi_info_power_port_star0_pdu_star1_model, port, pdu).value_or("");
    const std::string code = text_at(tree, vrn_tsapi_info_power_port_star0_pdu_star1_modelNr, port, pdu).value_or("");
    unit.model_code = stored_model(code).value_or(0);
    unit.values = poll_values(tree, names, &value_operations::unit, port, pdu);
    unit.phases = poll_elems(tree, phase_kind, port, pdu);
    unit.circuits = poll_elems(tree, circuit_kind, port, pdu);
    for (int number : numbers_at(tree, outlet_kind.list, port, pdu))
        unit.outlets.push_back(poll_outlet(tree, port, pdu, number));
    return unit;
}

bool poll_chain(vrn_tsapi_handle *handle, chain_status &chain)
{
    polled_tree tree{handle};
    chain.clear();
    for (int number : numbers_at(tree, vrn_tsapi_mlist_power_port)) {
        port_status port{.number = number, .name = {}, .device = {}, .units = {}};
        port.name = text_at(tree, vrn_tsapi_info_power_port_star0_name, number).value_or("");
        port.device = text_at(tree, vrn_tsapi_info_power_port_star0_device, number).value_or("");
        for (int pdu : numbers_at(tree, vrn_tsapi_mlist_power_port_star0_pdu, number))
            port.units.push_back(poll_unit(tree, number, pdu));
        chain.push_back(std::move(port));
    }
    return !tree.broken;
}
