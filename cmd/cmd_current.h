// The command `current`: current readings and their thresholds.
#pragma once

#include "cmd/reading.h"

extern const char current_usage[];
extern const measure current_measure;

READING_COMMAND(current);

// The thresholds. Workers: 0 once their line is added, else 1; the one that sets takes their text as its rest.
int current_pdu_thres(int row, char **out, int port, int pdu, va_list *rest);
int current_elem_thres(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);
int current_thres_set(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);

inline constexpr command_handler cmd_current_thres = on_all_units<current_pdu_thres, 0>;
int cmd_current_thres_elem_set(int row, char **out, command_args args);
inline constexpr command_handler cmd_current_thres_elem = on_element<current_elem_thres, 0>;
int cmd_current_thres_pdu_set(int row, char **out, command_args args);
inline constexpr command_handler cmd_current_thres_pdu = on_unit<current_pdu_thres, 0>;
