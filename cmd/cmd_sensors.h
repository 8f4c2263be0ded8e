// The command `sensors`: environment monitors.
#pragma once

#include "shell/cli.h"

extern const char sensors_usage[];

// Handlers, in the order of their rows. 0: the line is dealt with; 1: declined, or failed with what `out` says.
int cmd_sensor(int row, char **out, command_args args);
int cmd_sensor_sum(int row, char **out, command_args args);
int cmd_sensor_reset(int row, char **out, command_args args);
int cmd_sensor_thres(int row, char **out, command_args args);
int cmd_sensor_thres_elem_set(int row, char **out, command_args args);
int cmd_sensor_sum_elem(int row, char **out, command_args args);
int cmd_sensor_reset_elem(int row, char **out, command_args args);
int cmd_sensor_thres_elem(int row, char **out, command_args args);
int cmd_sensor_sum_pdu(int row, char **out, command_args args);
int cmd_sensor_reset_pdu(int row, char **out, command_args args);
int cmd_sensor_thres_pdu(int row, char **out, command_args args);
int cmd_sensor_elem(int row, char **out, command_args args);
int cmd_sensor_pdu(int row, char **out, command_args args);
int cmd_sensor_name(int row, char **out, command_args args);
