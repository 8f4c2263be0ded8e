// What the devices of a chain take as a user name and a password.

#include "appliance/model/account.h"

#include "appliance/model/chain.h"

static result_code set_text(std::string &text, std::string_view value, size_t longest)
{
    if (value.size() > longest)
        return result_too_long;
    if (has_control_characters(value))
        return result_bad_value;
    text = value;
    return result_done;
}

result_code set_username(chain_account &account, std::string_view username)
{
    return username.empty() ? result_bad_value : set_text(account.username, username, longest_username);
}

result_code set_password(chain_account &account, std::string_view password)
{
    return set_text(account.password, password, longest_password);
}
