// What reaches the user and how long it took; append_output and its like are declared in the chief header.
#pragma once

extern double tsapi_usec; // microseconds spent in the last bracket of the command

// Releases an accumulator and makes it null. Whoever puts another text in its place does it behind this.
void drop_output(char **out);

// The time in microseconds, in the 32-bit arithmetic of the appliance: it wraps after 71 minutes.
double time_stamp();
