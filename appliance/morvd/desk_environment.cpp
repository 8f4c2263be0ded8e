// Each word finds the part that it speaks of and hands it to the simulation.

#include "appliance/morvd/desk_environment.h"

#include "appliance/model/simulated_environment.h"
#include "appliance/morvd/service.h"
#include "appliance/morvd/values.h"

using word_list = std::span<const std::string>;

// PORT PDU NUMBER, the first three words of the list.
static std::optional<place> read_part(word_list words)
{
    return read_place(words[0] + "." + words[1] + "." + words[2]);
}

// --- sensor ---------------------------------------------------------------------------------------------------------

answer treat_sensor(service &service, word_list rest)
{
    bool sets = !rest.empty() && rest[0] == "set";
    bool plugs = !rest.empty() && (rest[0] == "plug" || rest[0] == "pull");
    if (!(sets && rest.size() == 5) && !(plugs && rest.size() == 4))
        return refuse(result_bad_arguments);
    std::optional<place> at = read_part(rest.subspan(1));
    if (!at)
        return refuse(result_bad_value);
    return done_or_refuse(sets ? hold_value(*service.desk, *at, rest[4])
                               : plug_probe(*service.desk, *at, rest[0] == "plug"));
}

// --- fuse -----------------------------------------------------------------------------------------------------------

answer treat_fuse(service &service, word_list rest)
{
    if (rest.size() != 4 || (rest[0] != "blow" && rest[0] != "mend"))
        return refuse(result_bad_arguments);
    std::optional<place> at = read_part(rest.subspan(1));
    return at ? done_or_refuse(set_fuse(*service.desk, *at, rest[0] == "blow")) : refuse(result_bad_value);
}

// --- hwocp ----------------------------------------------------------------------------------------------------------

answer treat_hwocp(service &service, word_list rest)
{
    if ((rest.size() != 3 && rest.size() != 5) || rest[0] != "trip")
        return refuse(result_bad_arguments);
    guarded where = guarded::unit;
    if (rest.size() == 5) {
        if (rest[3] != "phase" && rest[3] != "outlet")
            return refuse(result_bad_arguments);
        where = rest[3] == "phase" ? guarded::phase : guarded::outlet;
    }
    std::optional<place> at = read_place(rest[1] + "." + rest[2] + "." + (rest.size() == 5 ? rest[4] : "1"));
    return at ? done_or_refuse(trip_hwocp(*service.desk, where, *at)) : refuse(result_bad_value);
}

// --- link -----------------------------------------------------------------------------------------------------------

answer treat_link(service &service, word_list rest)
{
    if (rest.size() != 3 || (rest[0] != "break" && rest[0] != "cut" && rest[0] != "mend"))
        return refuse(result_bad_arguments);
    std::optional<place> at = read_place(rest[1] + "." + rest[2] + ".1");
    if (!at)
        return refuse(result_bad_value);
    return done_or_refuse(set_link(*service.desk, *at, rest[0] != "mend", rest[0] != "break"));
}
