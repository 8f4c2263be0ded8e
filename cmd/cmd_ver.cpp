// ver: describes a unit in one line: outlets, rating, software, ID, model, phases and banks.
// All of it comes from the control tree but the model, which the segment may know.

#include "cmd/cmd_ver.h"

#include <cstdio>

#include "client/tree.h"
#include "client/types.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/walkers.h"

const char ver_usage[] = "Usage: ver [<ipdu number or ID>]\n"
                         "Displays version information.\n";

// What a unit must have to be described, in the order in which it is probed and read.
enum { max_current, version, id, text_count };

static constexpr struct {
    const char *capability;
    const char *log_word;
    int (*info)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu);
} texts[text_count] = {
    {"max-current", "max current", vrn_tsapi_info_power_port_star0_pdu_star1_maxCurrent},
    {"version", "version", vrn_tsapi_info_power_port_star0_pdu_star1_version},
    {"id", "id", vrn_tsapi_info_power_port_star0_pdu_star1_id},
};

struct ver_description {
    int outlets = -1;
    owned_text text[text_count];
    int model = -1;
    int phases = -1;
    int banks = -1;
    owned_text phase_type; // absent where the unit has none
};

static constexpr size_t number_size = 32; // room for a number with the words around it

static int probe_texts(int port, int pdu)
{
    for (const auto &node : texts)
        if (check_pdu_caps(port, pdu, node.capability))
            return log_failure("Node %s unavailable for %d@%d", node.capability, pdu, port);
    return 0;
}

static int read_texts(int port, int pdu, ver_description *unit)
{
    for (int i = 0; i < text_count; i++)
        if (texts[i].info(cli_tsapi, into(unit->text[i]), nullptr, port, pdu))
            return log_failure("Fail to get %s for pdu %d@%d", texts[i].log_word, pdu, port);
    return 0;
}

static int read_phase_type(int port, int pdu, ver_description *unit)
{
    if (!model_is_current(unit->model) || unit->phases <= 1 || check_pdu_caps(port, pdu, "topology"))
        return 0;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_topology(cli_tsapi, into(unit->phase_type), nullptr, port, pdu))
        return log_failure("Fail to get phase type for pdu %d@%d", pdu, port);
    return 0;
}

static int describe(int port, int pdu, ver_description *unit)
{
    if (probe_texts(port, pdu))
        return 1;
    if (vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets(cli_tsapi, &unit->outlets, nullptr, port, pdu))
        return log_failure("Fail to get number of outlets for pdu %d@%d", pdu, port);
    if (read_texts(port, pdu, unit))
        return 1;
    // Intended: an unknown model is no failure, it prints as -1 (the line is how users find such a unit).
    unit->model = pdu2model(port, pdu);
    if (vrn_tsapi_info_power_port_star0_pdu_star1_numPhases(cli_tsapi, &unit->phases, nullptr, port, pdu))
        return log_failure("Fail to get number of phases for pdu %d@%d", pdu, port);
    if (vrn_tsapi_info_power_port_star0_pdu_star1_numCircuits(cli_tsapi, &unit->banks, nullptr, port, pdu))
        return log_failure("Fail to get number of banks for pdu %d@%d", pdu, port);
    return read_phase_type(port, pdu, unit);
}

// " (3 phases - WYE)" for a unit of several phases, else empty; absent without memory.
static owned_text phases_suffix(const ver_description &unit)
{
    char *suffix;
    const char *type = unit.phase_type.get();
    int length = unit.phases <= 1
                     ? asprintf(&suffix, "%s", "")
                     // Intended: an empty phase type still has its dash (it differs from an absent one).
                     : asprintf(&suffix, " (%d phases%s%s)", unit.phases, type ? " - " : "", type ? type : "");
    return owned_text(length < 0 ? nullptr : suffix);
}

static int append_description(int row, char **out, int pdu, const ver_description &unit)
{
    const char *format = command_table[row].format;
    if (!format)
        return 0;
    char model[number_size];
    snprintf(model, sizeof model, "%d", unit.model);
    char banks[number_size] = "";
    // Intended: 0 banks are told too (scripts look for the words).
    if (unit.banks >= 0)
        snprintf(banks, sizeof banks, ". %d banks", unit.banks);
    owned_text phases = phases_suffix(unit);
    if (!phases ||
        append_output(out, format, pdu, unit.outlets, text_or_empty(unit.text[max_current]),
                      text_or_empty(unit.text[version]), text_or_empty(unit.text[id]), model, phases.get(), banks))
        return log_failure("Fail to printf pdu %d ver string", pdu);
    return 0;
}

static int ver_pdu(int row, char **out, int port, int pdu, va_list *)
{
    ver_description unit;
    int result = describe(port, pdu, &unit);
    if (result == 0)
        result = append_description(row, out, pdu, unit);
    return failure_tail(result, row, out);
}

int cmd_ver(int row, char **out, command_args)
{
    return all_pdus(row, out, ver_pdu);
}

int cmd_ver_pdu(int row, char **out, command_args args)
{
    return one_located_pdu(row, out, args.text(0), ver_pdu);
}
