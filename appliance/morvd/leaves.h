// The tables of leaves, one for each kind of node.
#pragma once

#include "appliance/morvd/tree.h"

extern const std::span<const leaf> power_leaves;
extern const std::span<const leaf> port_leaves;
extern const std::span<const leaf> unit_leaves;
extern const std::span<const leaf> phase_leaves;
extern const std::span<const leaf> circuit_leaves;
extern const std::span<const leaf> outlet_leaves;
extern const std::span<const leaf> envmon_leaves;
extern const std::span<const leaf> meter_leaves; // of units, phases, circuits and outlets besides their own
extern const std::span<const leaf> command_leaves;
extern const std::span<const leaf> local_unit_leaves;
extern const std::span<const leaf> local_outlet_leaves;
extern const std::span<const leaf> unit_by_id_leaves;
extern const std::span<const leaf> outlet_by_name_leaves;
extern const std::span<const leaf> network_leaves;
extern const std::span<const leaf> interface_leaves;
extern const std::span<const leaf> appliance_leaves;
extern const std::span<const leaf> account_leaves;
extern const std::span<const leaf> groups_leaves;
extern const std::span<const leaf> group_by_name_leaves;
extern const std::span<const leaf> group_by_id_leaves;
