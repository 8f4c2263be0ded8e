// Banks: a current-family unit's phases, line pairs and segments by the names that users know, where the tree has no
// node for them. Two neighbouring circuits feed a bank, so that its values are computed from theirs.
#pragma once

#include <cstdint>

// The value of one circuit of the unit, as the segment renders it; 0.0 without a circuit, a value or a number.
double value_dummy_bank(int port, int pdu, int elem, uint32_t mask);

// Of the bank that begins with the circuit `elem` (a negative one: there is none, 0.0): both values together, or the
// first that is not 0.0.
double sum_dummy_bank(int port, int pdu, int elem, uint32_t mask);
double first_dummy_bank(int port, int pdu, int elem, uint32_t mask);

// The bank's power factor, 0.0 to 1.0, out of its power, current and voltage. The mask of the power factor, its
// minimum, maximum or average says which of those are taken; any other gives 0.0.
double pf_dummy_bank(int port, int pdu, int elem, uint32_t mask);

// Adds what the command of the row answers for the bank of that name. 1 if it was added; 0 for a legacy unit, a name
// that is no bank's, a command that knows no banks, or no memory.
int answer_dummy_bank(int port, int pdu, int row, char **out, const char *name);
