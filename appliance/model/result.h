// The daemon's result codes, as they stand behind `-ERR` on the wire.
#pragma once

#include <string_view>

// 0 is success and never stands in a refusal.
enum result_code : int {
    result_done = 0,
    result_not_logged_in = 1,
    result_login_refused = 2,
    result_token_refused = 3,
    result_already_logged_in = 4,
    result_unknown_verb = 5,
    result_bad_arguments = 6,
    result_malformed_path = 7,
    result_no_such_path = 8,
    result_no_such_verb = 9,
    result_bad_value = 10,
    result_too_long = 11,
    result_taken = 12,
    result_too_many = 13,
    result_protocol_error = 14,
    result_no_such_part = 15,
    result_busy = 17,
    result_nothing_saved = 18,
    result_flash_fault = 19,
    result_bad_image = 20,
    result_asked_for = 99, // where a fault that was asked for names no code of its own
};

// What the code means, in words for a person; a code outside the list was asked for and says so.
std::string_view result_words(int code);
