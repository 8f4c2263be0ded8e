// The group check that stands before a start under any name but the program's own.
#pragma once

// 0 if the user belongs to the group "admin" of the control tree; 1 if not, for a null name, or if the tree has no
// answer.
int cli_check_admin(const char *username);
