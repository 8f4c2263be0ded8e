// The command `powerfactor`: power factor readings.
#pragma once

extern const char powerfactor_usage[];
