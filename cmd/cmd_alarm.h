// The command `alarm`: the alarm threshold of the current.
#pragma once

#include "cmd/measure.h"

extern const char alarm_usage[];

// Workers: 0 when done, else 1. Those that set take the value as their rest.
int alarm_pdu_get(int row, char **out, int port, int pdu, va_list *rest);
int alarm_elem_get(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);
int alarm_pdu_set(int row, char **out, int port, int pdu, va_list *rest);
int alarm_elem_set(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);

inline constexpr command_handler cmd_alarm = on_all_units<alarm_pdu_get, 0>;
int cmd_alarm_elem_set(int row, char **out, command_args args);
int cmd_alarm_pdu_set(int row, char **out, command_args args);
inline constexpr command_handler cmd_alarm_pdu = on_unit<alarm_pdu_get, 0>;
