// Functions that cannot be used safely; a use is a compile error. Included first by every product source, by the build.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#pragma GCC poison strcpy strcat sprintf vsprintf strtok gets
