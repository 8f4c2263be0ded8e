// What `hwocp` and `fuses` share: the state that protects an element, and the label that says which element it is.
#pragma once

#include <cstdint>

#include "client/types.h"

struct vrn_tsapi_handle;

struct element {
    int port;
    int pdu;
    int type;
    int number;
};

using elem_info = int (*)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu, int elem);

// How the elements of one type are read from the tree.
struct protected_type {
    const char *word; // what the user calls the type; null where its elements have no such state
    elem_info name;   // null: the number is the name
    elem_info state;
};

struct protection {
    uint32_t mask;           // in the segment
    const char *capability;  // in the tree
    const char *log_word;    // for the state
    const char *log_command; // in the line about a type without it
    protected_type types[3]; // by element type
};

// Reads "in phase X1 " and the state (absent where the tree answered without a value). 0, or 1: the element has no such
// state, name or state could not be had (logged), or there is no name to label it with. Name and state both come from
// the segment where that is usable, and both from the tree where not.
int read_protection(const protection &what, const element &at, owned_text &label, owned_text &state);
