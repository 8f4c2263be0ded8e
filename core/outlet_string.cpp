// The outlet string. A token is tried as one form after the other, numbers before names; a fault of one form is a fault
// of the whole string, while a token that fits no form is only handed on unresolved.

#include "core/outlet_string.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/utils.h"
#include "core/ztd_shm.h"
#include "shell/cli.h"

enum form_result { form_taken, form_fault, form_no_match };

struct parsing {
    outstr_entry *records;
    int count; // records used so far
    const char *token;
};

static bool consumed_whole(const parsing &at, int consumed)
{
    return static_cast<size_t>(consumed) == strlen(at.token); // which -1 never is
}

static void label_record(const parsing &at)
{
    char *text = at.records[at.count].text;
    memset(text, 0, sizeof at.records[at.count].text);
    memcpy(text, at.token, std::min(strlen(at.token), outstr_text_max));
}

// There is room for it: who calls has seen to that.
static void add_record(parsing &at, int port, int pdu, int outlet)
{
    label_record(at);
    outstr_entry &record = at.records[at.count++];
    record.port = port;
    record.pdu = pdu;
    record.outlet = outlet;
    record.outx = ppo2outx(port, pdu, outlet);
}

static void add_outlets(parsing &at, int port, int pdu, int first, int last)
{
    for (int outlet = first; outlet <= last && at.count < outstr_max; ++outlet)
        add_record(at, port, pdu, outlet);
}

// What a walk over the whole chain does at each unit; answers true to end the walk.
struct chain_visit {
    bool (*unit)(parsing &at, chain_visit &visit, int port, int pdu, int outlets);
    int first = 0; // chain numbers only
    int last = 0;
    bool range = false;
    long long base = 0; // outlets of the units before
    int start = 0;      // outlet of the present unit to begin with; 0 while not reached
    bool done = false;
};

// The units of all ports in order, with their outlet counts. 0, or 1 where a read failed.
static int walk_chain(parsing &at, chain_visit &visit)
{
    int ports = 0;
    if (count_ports(&ports))
        return 1;
    for (int port = 1; port <= ports && !visit.done; ++port) {
        int pdus = 0;
        if (count_pdus(port, &pdus))
            return 1;
        for (int pdu = 1; pdu <= pdus && !visit.done; ++pdu) {
            int outlets = 0;
            if (count_outlets(port, pdu, &outlets))
                return 1;
            visit.done = visit.unit(at, visit, port, pdu, outlets);
        }
    }
    return 0;
}

static bool visit_all(parsing &at, chain_visit &, int port, int pdu, int outlets)
{
    add_outlets(at, port, pdu, 1, outlets);
    return false; // Intended: the walk goes on behind the 128th outlet (a unit that can't be read still spoils the
                  // string).
}

static form_result take_all(parsing &at)
{
    if (strcmp(at.token, "all") != 0)
        return form_no_match;
    chain_visit visit = {.unit = visit_all};
    return walk_chain(at, visit) ? form_fault : form_taken;
}

// One unit's outlets from first to last, by a number or an ID that the caller has resolved; -1 where it could not be.
static form_result take_unit_outlets(parsing &at, int port, int pdu, int first, int last)
{
    if (last < first)
        log_failure("ini outlet %d greater than end outlet %d", first, last);
    else if (ppo2outx(port, pdu, first) < 0)
        log_failure("Invalid initial outlet %d on %d@%d", first, pdu, port);
    else if (last != first && ppo2outx(port, pdu, last) < 0)
        log_failure("Invalid final outlet %d on %d@%d", last, pdu, port);
    else if (port < 1 || pdu < 1 || first < 1 || last < 1)
        log_failure("Invalid component port %d, pdu %d, ini %d, end %d", port, pdu, first, last);
    else {
        add_outlets(at, port, pdu, first, last);
        return form_taken;
    }
    return form_fault;
}

// Intended: a range that was read but does not reach the token's end ends its pair; the shorter form is not tried then
// ("1.2-3x" is an outlet name, never outlet 2). The same holds for the other two pairs.

static form_result take_number_dot(parsing &at)
{
    long number, first, last;
    int consumed = -1;
    if (sscanf(at.token, "%ld.%ld-%ld%n", &number, &first, &last, &consumed) != 3) {
        if (sscanf(at.token, "%ld.%ld%n", &number, &first, &consumed) != 2)
            return form_no_match;
        last = first;
    }
    if (!consumed_whole(at, consumed))
        return form_no_match;
    int pdu = saturated(number);
    return take_unit_outlets(at, pdu2port(pdu), pdu, saturated(first), saturated(last));
}

static form_result take_id_dot(parsing &at)
{
    char id[65];
    long first, last;
    int consumed = -1;
    if (sscanf(at.token, "%64[^.].%ld-%ld%n", id, &first, &last, &consumed) != 3) {
        if (sscanf(at.token, "%64[^.].%ld%n", id, &first, &consumed) != 2)
            return form_no_match;
        last = first;
    }
    if (!consumed_whole(at, consumed))
        return form_no_match;
    int pdu = pduid2pdu(id);
    int port = pduid2port(id);
    return take_unit_outlets(at, port, pdu, saturated(first), saturated(last));
}

static bool visit_chain_numbers(parsing &at, chain_visit &visit, int port, int pdu, int outlets)
{
    bool done = false;
    if (visit.start > 0)
        visit.start = 1;
    else if (visit.first > 0 && visit.first <= outlets + visit.base) {
        visit.start = static_cast<int>(visit.first - visit.base);
        if (!visit.range) {
            visit.last = visit.start;
            done = true;
        }
    }
    // Intended: the end of a range is looked for whether or not its start was met ("12-2" ends before it begins and
    // gives no record, which is no fault).
    if (visit.range && visit.last > 0 && visit.last <= outlets + visit.base) {
        visit.last = static_cast<int>(visit.last - visit.base);
        done = true;
    }
    if (visit.start > 0)
        add_outlets(at, port, pdu, visit.start, done ? visit.last : outlets);
    visit.base += outlets;
    return done;
}

static form_result take_chain_numbers(parsing &at)
{
    long first, last;
    int consumed = -1;
    bool range = sscanf(at.token, "%ld-%ld%n", &first, &last, &consumed) == 2;
    if (!range) {
        if (sscanf(at.token, "%ld%n", &first, &consumed) != 1)
            return form_no_match;
        last = first;
    }
    if (!consumed_whole(at, consumed))
        return form_no_match;

    chain_visit visit = {
        .unit = visit_chain_numbers, .first = saturated(first), .last = saturated(last), .range = range};
    if (walk_chain(at, visit))
        return form_fault;
    if (!visit.done) {
        log_failure("ini (%d) or end (%d) outlet out of range", saturated(first), saturated(last));
        return form_fault;
    }
    return form_taken;
}

// One number of the address of the outlet with that user name. 0, or 1 where neither segment nor tree knows it.
static int outlet_name_number(const char *name, int wanted, int *number)
{
    static constexpr struct {
        int (*info)(vrn_tsapi_handle *, int *, const char *const *, const char *);
        const char *log_word;
    } sources[] = {
        {vrn_tsapi_info_power_outlet_star0_port, "port"},
        {vrn_tsapi_info_power_outlet_star0_pdu, "pdu"},
        {vrn_tsapi_info_power_outlet_star0_outlet, "outlet"},
    };
    if (name2id_shm(name, name_of_outlet, wanted, nullptr, number) == 0)
        return 0;
    if (sources[wanted].info(cli_tsapi, number, nullptr, name))
        return log_failure("Fail to get %s from outlet name %s", sources[wanted].log_word, name);
    return 0;
}

static form_result take_name(parsing &at)
{
    char name[65];
    int consumed = -1;
    if (sscanf(at.token, "%64s%n", name, &consumed) != 1 || !consumed_whole(at, consumed))
        return form_no_match;

    int port = -1, pdu = -1, outlet = -1;
    if (outlet_name_number(name, wanted_outlet, &outlet) || outlet_name_number(name, wanted_pdu, &pdu) ||
        outlet_name_number(name, wanted_port, &port))
        return form_fault;
    if (port < 1 || pdu < 1 || outlet < 1) {
        log_failure("Invalid component port %d, pdu %d, outlet %d", port, pdu, outlet);
        return form_fault;
    }
    add_record(at, port, pdu, outlet);
    return form_taken;
}

static form_result take_token(parsing &at)
{
    static constexpr form_result (*forms[])(parsing &) = {take_all, take_number_dot, take_id_dot, take_chain_numbers,
                                                          take_name};
    // The token stands in the next record before it has one of its own: where it gives none, the record stays
    // uncounted, the next token overwrites it, and as the last one it shows as unresolved.
    label_record(at);
    for (auto form : forms) {
        form_result result = form(at);
        if (result != form_no_match)
            return result;
    }
    ++at.count;
    return form_taken;
}

owned_outstr parse_outstr(const char *text)
{
    if (!text || !*text)
        return nullptr;
    owned_text copy(strdup(text));
    owned_outstr block(static_cast<outstr_entry *>(calloc(outstr_max, sizeof(outstr_entry))));
    if (!copy || !block)
        return nullptr;

    parsing at = {.records = block.get(), .count = 0, .token = nullptr};
    char *rest = nullptr;
    at.token = strtok_r(copy.get(), ",", &rest);
    while (at.token && at.count < outstr_max) {
        if (take_token(at) == form_fault)
            return nullptr;
        at.token = strtok_r(nullptr, ",", &rest);
    }
    return block;
}

owned_outstr outlets_of(const char *text, char **out)
{
    owned_outstr block = parse_outstr(text);
    if (!block)
        append_output(out, "Invalid outlet [%s].\n", text);
    return block;
}

std::span<const outstr_entry> outstr_records(const owned_outstr &block)
{
    size_t used = 0;
    while (used < outstr_max && block[used].text[0])
        ++used;
    return {block.get(), used};
}

bool outstr_resolved(const outstr_entry &record)
{
    return record.port >= 1 && record.pdu >= 1 && record.outlet >= 1 && record.outx >= 1;
}
