// The command `currentprotection`: the overcurrent protection in software.
#pragma once

extern const char currentprotection_usage[];
