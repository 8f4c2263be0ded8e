// The command `name`: the user's names of outlets.
#pragma once

extern const char name_usage[];
