// The readings of four values - present, maximum, minimum, average - as current, voltage, power and power factor have
// them. What a measure does in its own way stands in its `measure` record and in its worker for units.
#pragma once

#include "cmd/measure.h"

enum { value_now, value_max, value_min, value_avg, value_count };

// One of the two places that an element is read from. An element's values never mix them.
struct measure_source {
    int (*read)(const measure_node &node, const measure_leaf &leaf, char **text);
    name_finder name;
    const char *invalid;             // the measure in the line about an element of an unknown type
    const char *kind = nullptr;      // the kind of value in the line about one that cannot be read
    const char *measured = nullptr;  // the measure in the line about one that is not measured
    const char *announced = nullptr; // logged before anything is read; null: nothing is
    const char *before_max = nullptr;
    const char *before_rest = nullptr; // before minimum and average
};

struct measure_reading {
    int count = 0; // how many of the values the unit's family has
    owned_text text[value_count];
    double value[value_count];
    element_name name;
};

struct measure {
    const char *word;           // in log lines
    const char *legacy_refusal; // null: legacy units are served
    int legacy_count;           // values that a legacy unit has
    measure_leaf leaves[value_count];
    const measure_leaf *kind; // whether the value is measured; null: never asked
    bool name_stops;          // an element without a name is not read beyond the present value
    int decimals;             // of the value in log lines
    // Adds the line of a node; the format is the row's and never null.
    int (*append)(const char *format, char **out, const measure_node &node, const char *label, bool summary,
                  const measure_reading &reading);
    measure_source segment;
    measure_source tree;
};

// --- The steps of a unit's reading; all answer 0, or 1 with the cause logged or, as convert_values, silent. ---------

// Finds out how many values the unit has, or refuses it.
int find_family(const measure &m, const measure_node &node, measure_reading *reading);

// Each for the values from `from` to before `to`.
int probe_values(const measure &m, const measure_node &node, int from, int to);
int read_unit_values(const measure &m, const measure_node &unit, int from, int to, measure_reading *reading);
int convert_values(const measure &m, int from, int to, measure_reading *reading);

// True for the text of a measured value, in whatever case.
bool says_measured(const owned_text &kind);

// Adds the node's line: 0 also where the row has no format; 1, logged.
int print_reading(const measure &m, int row, char **out, const measure_node &node, bool summary,
                  const measure_reading &reading);

// --- Whole workers --------------------------------------------------------------------------------------------------

// Reads and prints an element.
int get_element(const measure &m, const measure_node &node, int row, char **out, bool summary);

// As `power` and `powerfactor` show a node, and a unit with its elements, which `elem_get` shows.
int append_power_values(const char *format, char **out, const measure_node &node, const char *label, bool summary,
                        const measure_reading &reading);
int get_power_unit(const measure &m, const measure_node &unit, int row, char **out, bool summary,
                   elem_callback elem_get);
