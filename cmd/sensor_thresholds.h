// The four alarm levels of an environment monitor.
#pragma once

#include "cmd/sensor.h"

// Adds the row's format, given pdu, type, system name and the levels, high critical first, each in the sensor's unit
// and empty where it could not be had. 0, or 1 with the cause in the log.
int show_thresholds(int row, char **out, const sensor &at);

// Writes the unit and the levels of a text such as "10:8::1", in which an empty field leaves its level alone, and shows
// what the tree holds then. 0, or 1 with the cause in the log; what was written before a failure stays written. The
// numbers go out as they are: the daemon converts them from the unit.
int set_thresholds(int row, char **out, const sensor &at, const char *thresholds, const char *unit);
