// The bracket that walkers and identifier functions put around each read, for the timing line of debug mode.
#pragma once

#include "shell/cli.h"

// Runs one read of the tree or the segment inside the bracket; its result.
template <class Read, class... Args> int timed(Read read, Args &&...args)
{
    tsapi_time_account(0);
    int result = read(args...);
    tsapi_time_account(1);
    return result;
}
