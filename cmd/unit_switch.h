// What `buzzer` and `syslog` share: a leaf of a unit that is on or off, shown and set in capitals.
#pragma once

struct vrn_tsapi_handle;

struct unit_switch {
    const char *name; // the leaf, and the word for it in the log
    int (*info)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu);
    int (*admin)(vrn_tsapi_handle *, const char *const *args, int port, int pdu);
};

// Each adds the row's format, given the state in capitals and the pdu. 0, or 1 with the cause in the log: the unit has
// no such leaf, the tree refused, or no memory.
int switch_get(const unit_switch &node, int row, char **out, int port, int pdu);

// Shows what was asked for, not a fresh reading. A value that is null or empty fails before the unit is asked.
int switch_set(const unit_switch &node, int row, char **out, int port, int pdu, const char *value);
