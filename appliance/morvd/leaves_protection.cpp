// The words of trips and fuses.

#include "appliance/morvd/leaves_protection.h"

#include <algorithm>

// --- Hardware over-current protection -------------------------------------------------------------------------------

static const std::optional<bool> &protection_of(const target &to)
{
    if (to.phase)
        return to.phase->tripped;
    return to.outlet ? to.outlet->tripped : to.unit->tripped;
}

std::optional<std::string> hwocp_state(const target &to)
{
    return *protection_of(to) ? "tripped" : "not tripped";
}

bool has_hwocp(const target &to)
{
    return protection_of(to).has_value();
}

result_code write_hwocp_reset(const target &to, word_span words)
{
    return words.empty() ? to.device->reset_hwocp(to.device->self, to.at.port, to.at.pdu) : result_bad_arguments;
}

bool has_any_hwocp(const target &to)
{
    auto has_one = [](const auto &part) { return part.tripped.has_value(); };
    return to.unit->tripped || std::any_of(to.unit->phases.begin(), to.unit->phases.end(), has_one) ||
           std::any_of(to.unit->outlets.begin(), to.unit->outlets.end(), has_one);
}

// --- Fuses ----------------------------------------------------------------------------------------------------------

std::optional<std::string> fuse_state(const target &to)
{
    return to.circuit->fuse->blown ? "BLOWN" : "OK";
}

bool has_fuse(const target &to)
{
    return to.circuit->fuse.has_value();
}
