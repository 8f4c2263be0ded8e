// The word of the desk that tells what stands on it: what no real appliance could say, and what its units would.
#pragma once

#include <span>
#include <string>

#include "appliance/morvd/answer.h"

struct service;

// A list of records, their fields with tabs between them, in the order of the chain:
//
//   clock   machine or driven, the date as "2024-01-01 00:00:00"
//   noise   on or off
//   unit, phase, circuit, outlet, sensor
//           PORT PDU NUMBER (0 of a unit), system name (ID of a unit), name (model of a unit), value, what it takes,
//           marks: words with ',' between them for what was done to it, or befell it
//   fault   the words that it was asked for with
answer treat_show(service &service, std::span<const std::string> rest);
