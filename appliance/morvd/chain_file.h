// The file that describes what stands on the desk. Its keys are told in ztcli-chain(5).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/chain.h"
#include "appliance/morvd/faults.h"

struct chain_file {
    chain units;
    std::vector<fault> faults;
};

// Reads the text of such a file. False, with `fault` as "line 12: unknown key 'outlts'", at the first thing wrong.
bool parse_chain(std::string_view text, chain_file *read, std::string *fault);

// Reads the file at `path`; `fault` says "cannot read 'PATH': " and the cause.
bool load_chain_file(const std::string &path, chain_file *read, std::string *fault);
