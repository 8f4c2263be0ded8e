// What one request comes to, before it goes to the wire, and how it is written there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "appliance/model/result.h"

struct answer {
    enum kind { done, text, absent, list, refusal } kind = done;
    std::string value;              // of a text
    std::vector<std::string> items; // of a list
    int code = result_done;         // of a refusal, never 0 there
    int64_t delay_ms = 0;           // goes out that much later
    bool drop = false;              // the connection closes in its place
};

answer text_answer(std::string value);
answer list_answer(std::vector<std::string> items);
answer refuse(int code);
answer done_or_refuse(result_code code);

// The answer as RESP.
std::string on_the_wire(const answer &answer);
