// From what the user typed to the tree's numbers, and back to the chain-wide outlet number that the user sees. All
// answer -1 for what they can't find; the cause is in the log.
#pragma once

// The unit, or the port, of the unit with that ID.
int pduid2pdu(const char *id);
int pduid2port(const char *id);

// The port that holds the unit at that place of the chain, counted over all ports from 1.
int pdu2port(int pdu);

// The model code. 128 to 143 is the current family, any other non-negative code a legacy unit.
int pdu2model(int port, int pdu);

// True for the model codes of the current family.
constexpr bool model_is_current(int model)
{
    return model >= 128 && model <= 143;
}

// The element of that type whose sys-name is `name`.
int elemname2id(int type, const char *name, int port, int pdu);

// The chain-wide outlet number, 1 to 128.
int ppo2outx(int port, int pdu, int outlet);
inline constexpr int outx_max = 128;

// What a count along the chain goes by: ports, units of a port, outlets of a unit (from the segment where it answers).
// 0 with `*count` filled, or 1, logged.
int count_ports(int *count);
int count_pdus(int port, int *count);
int count_outlets(int port, int pdu, int *count);
