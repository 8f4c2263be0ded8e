// The commands `save`, `restore` and `factory_defaults`: the configuration in flash.
#pragma once

extern const char save_usage[];
extern const char restore_usage[];
extern const char factory_defaults_usage[];
