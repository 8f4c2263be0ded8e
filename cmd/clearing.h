// The resets of recorded values: one machine for all measures. What a measure does in its own way stands in its
// `clearing` record.
#pragma once

#include "cmd/measure.h"

struct clearing {
    const char *word;              // the measure in log lines
    const char *legacy_refusal;    // null: legacy units are served
    const measure_leaf *needed[2]; // what a node must have; the second may be null
    int (*probe)(const measure_node &node, const measure_leaf &leaf);
    const char *unit_failure; // what failed, in the line about a unit that refuses
    node_admin operation;
    name_finder name;
    // Adds the line; the format is the row's and never null.
    int (*append)(const char *format, char **out, int pdu, int model, const char *label);
};

// 0 once the line is added, or where the row has no format; else 1, logged. The elements of a unit stay as they are.
int clear_unit(const clearing &rule, const measure_node &unit, int row, char **out);

// The element is reset also where its name could not be had, but then nothing is said of it.
int clear_element(const clearing &rule, const measure_node &node, int row, char **out);

// The `append` of those whose line tells nothing of the unit's family.
int append_cleared(const char *format, char **out, int pdu, int model, const char *label);
