// For processes of the tests that end by _exit: where the product's lines are counted (script/coverage), what they have
// counted is written by this; the normal end of a process does it else.
#pragma once

extern "C" [[gnu::weak]] void __gcov_dump();

inline void write_counts()
{
    if (__gcov_dump)
        __gcov_dump();
}
