// The account with which the appliance logs in to the other devices of its chain.
#pragma once

#include <string>
#include <string_view>

#include "appliance/model/result.h"

struct chain_account {
    std::string username = "admin";
    std::string password = "admin";
};

inline constexpr size_t longest_username = 16;
inline constexpr size_t longest_password = 8; // what the devices have room for; the empty one is a password too

// Each is result_done or, with the old value in place, result_too_long, or result_bad_value for control characters and
// for no user name.
result_code set_username(chain_account &account, std::string_view username);
result_code set_password(chain_account &account, std::string_view password);
