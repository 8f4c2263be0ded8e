// The captured log of an operation, a record as "LEVEL TAG MESSAGE".
#pragma once

#include <string>

#include "tests/fakes/fakes.h"

inline texts log_lines()
{
    texts lines;
    for (const log_record &record : log_records())
        lines.push_back(std::to_string(record.level) + " " + record.tag + " " + record.message);
    return lines;
}
