// What an outlet string is, in the words that end the usage of every command that takes one.
#pragma once

// A literal, so that the compiler joins it with the text in front of it.
// clang-format off
#define OUTLET_STRING_USAGE \
    "<outletString> is a string representing one or more outlets. This string can be 'all', for all outlets, or " \
    "a list of outlets separated by commas. Outlets can be represented by <outlet number in the chain>, <outlet " \
    "name> or <IPDU ID>.<outlet number in the IPDU>. Range of outlets are represented by the initial and final " \
    "outlet numbers, separated by a dash.\n"
// clang-format on
