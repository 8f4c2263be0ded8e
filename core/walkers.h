// Iteration over units and over the nodes inside one, and the probes that ask what a node has. A walker starts its
// variable arguments once and hands every callback a pointer to that one list: a callback reads them through the peeks,
// which leave the list as it was, so that every unit of a walk sees the same arguments.
#pragma once

#include <cstdarg>

#include "paramtype.h"

// 0 on success. A failure is logged and neither stops a walk nor changes its result.
using pdu_callback = int (*)(int row, char **out, int port, int pdu, va_list *rest);
using elem_callback = int (*)(int port, int pdu, int type, int row, char **out, int elem, va_list *rest);
using envmon_callback = int (*)(int port, int pdu, int row, char **out, int envmon, va_list *rest);

// Each walks in list order. 0: the walk ran to its end; 1: a list could not be had (what was called stays done).
int all_pdus(int row, char **out, pdu_callback callback, ...);
int all_elements(int port, int pdu, int type, int row, char **out, elem_callback callback, ...);
int all_envmons(int port, int pdu, int row, char **out, envmon_callback callback, ...);

// The same worker for a single node; the callback's own result.
int one_pdu(int row, char **out, int port, int pdu, pdu_callback callback, ...);
int one_element(int port, int pdu, int type, int row, char **out, int elem, elem_callback callback, ...);
int one_envmon(int port, int pdu, int row, char **out, int envmon, envmon_callback callback, ...);

// The first variable argument, without consuming it.
int peek_int(va_list *rest);
const char *peek_text(va_list *rest);
double peek_real(va_list *rest);

// The numbers of a unit's elements of one type, from the tree. 0 with a new list, or 1, logged.
int list_elems_of_tree(int port, int pdu, int type, paramtype_int_list **list);

// 0 if the node has a child of exactly that name; 1 if not, or if its children could not be listed. Never cached.
int check_pdu_caps(int port, int pdu, const char *capability);
int check_elem_caps(int port, int pdu, int elem, int type, const char *capability);
int check_envmon_caps(int port, int pdu, int envmon, const char *capability);

// The number of the environment monitor whose sys-name is `name`, or -1.
int envmon2id(const char *name, int port, int pdu);
