// The words of the daemon's result codes.

#include "appliance/model/result.h"

struct code_words {
    int code;
    std::string_view words;
};

static constexpr code_words all_words[] = {
    {result_done, "done"},
    {result_not_logged_in, "not logged in"},
    {result_login_refused, "login refused"},
    {result_token_refused, "token refused"},
    {result_already_logged_in, "already logged in"},
    {result_unknown_verb, "unknown verb"},
    {result_bad_arguments, "bad arguments"},
    {result_malformed_path, "malformed path"},
    {result_no_such_path, "no such path"},
    {result_no_such_verb, "no such verb on that path"},
    {result_bad_value, "bad value"},
    {result_too_long, "value too long"},
    {result_taken, "name already taken"},
    {result_too_many, "too many"},
    {result_protocol_error, "protocol error"},
    {result_no_such_part, "no such part of a unit"},
    {result_busy, "unit is busy"},
    {result_nothing_saved, "nothing saved"},
    {result_flash_fault, "cannot write flash"},
    {result_bad_image, "no sound firmware image"},
};

std::string_view result_words(int code)
{
    for (const code_words &row : all_words)
        if (row.code == code)
            return row.words;
    return "asked-for fault";
}
