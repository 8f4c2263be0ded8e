// Sensors of a unit, for the tests of the forms of `sensors`.
#pragma once

#include <string>

#include "tests/fakes/fakes.h"

inline const std::string degree = "\xF8";

// A sensor that has all that one can have; its system name is that of the chain ("E1", "E2", ...).
inline fake_node serve_sensor(const fake_node &sensor, const std::string &type, const std::string &raw_type = "1",
                              const std::string &unit = "oC")
{
    sensor.serve("name", "door")
        .serve("value", "25")
        .serve("max-value", "31.55")
        .serve("min-value", "-4")
        .serve("avg-value", "22.14")
        .serve("type", type)
        .serve("type-raw", raw_type)
        .serve("unit", unit);
    return sensor;
}

inline fake_node serve_thresholds(const fake_node &sensor)
{
    sensor.serve("high-thres", "40")
        .serve("high-warn-thres", "35.5")
        .serve("low-warn-thres", "5")
        .serve("low-thres", "-1");
    return sensor;
}
