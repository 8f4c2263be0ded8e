// The command `hwocp`: the overcurrent protection in hardware.
#pragma once

extern const char hwocp_usage[];
