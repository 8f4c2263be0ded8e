// One environment monitor in the control tree, as the forms of `sensors` ask it.
#pragma once

#include "client/types.h"

struct vrn_tsapi_handle;

struct sensor {
    int port;
    int pdu;
    int envmon;
};

using envmon_info = int (*)(vrn_tsapi_handle *, char **, const char *const *args, int port, int pdu, int envmon);
using envmon_admin = int (*)(vrn_tsapi_handle *, const char *const *args, int port, int pdu, int envmon);

// 0, or non-zero with the text absent.
int read_leaf(const sensor &at, envmon_info info, owned_text &text);
int read_sys_name(const sensor &at, owned_text &text);
int read_type(const sensor &at, owned_text &text);
int read_unit(const sensor &at, owned_text &text);

// 0, or the result code of the write.
int write_leaf(const sensor &at, envmon_admin admin, const char *value);

// Whether the sensor has a leaf of that name; logged if not.
bool has_leaf(const sensor &at, const char *name);

// The model of the sensor's unit, or -1, logged.
int model_of(const sensor &at);

// What the user reads for the tree's type text; a constant text, or null (logged) for a type without a name.
const char *known_type(const sensor &at, const owned_text &type);

// The same for the type that the tree gives now.
const char *read_type_name(const sensor &at);

// Puts the value in its unit. Left as it is where either is absent or the unit is none that we know.
void render_value(const char *unit, owned_text &value);
