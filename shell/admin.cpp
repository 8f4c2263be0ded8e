// The group check: whoever starts the program under another name must belong to the administrators of the control tree.

#include "shell/admin.h"

#include <cstring>

#include "client/tree.h"
#include "client/types.h"
#include "shell/cli.h"

int cli_check_admin(const char *username)
{
    if (!username)
        return 1;
    owned_text_list members;
    if (vrn_tsapi_list_authorization_group_name_star0_member(cli_tsapi, into(members), "admin"))
        return 1;
    for (const paramtype_UTF8String_list *member = members.get(); member; member = member->next)
        if (strcmp(member->value, username) == 0)
            return 0;
    return 1;
}
