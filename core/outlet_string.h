// The outlet string: what a user can point at, from "all" to a comma list of numbers, ranges, IDs and names.
#pragma once

#include <cstdlib>
#include <memory>
#include <span>

inline constexpr int outstr_max = 128;         // records of a block; as many as there are chain-wide outlet numbers
inline constexpr size_t outstr_text_max = 100; // bytes of a token that its records keep

// One outlet that a token pointed at, or a token that pointed at none.
struct outstr_entry {
    int outx; // chain-wide number; -1 if the outlet has none
    int port;
    int pdu;
    int outlet;
    char text[104]; // the token, cut to outstr_text_max bytes; empty behind the last record
};

struct outstr_release {
    void operator()(outstr_entry *block) const { free(block); }
};
using owned_outstr = std::unique_ptr<outstr_entry[], outstr_release>;

// Expands an outlet string into a block of exactly 128 records, owned by the caller. Null for an absent or empty text,
// no memory, a failed read of the tree, or a token that makes the whole string a fault; the cause is in the log.
owned_outstr parse_outstr(const char *text);

// The same for a command, which says "Invalid outlet [...].\n" with the whole text where nothing came of it.
owned_outstr outlets_of(const char *text, char **out);

// The records in use: those before the first empty text, at most all of them (the block has no spare one behind the
// last).
std::span<const outstr_entry> outstr_records(const owned_outstr &block);

// True where all four numbers are there; any other record is a token that could not be resolved.
bool outstr_resolved(const outstr_entry &record);
