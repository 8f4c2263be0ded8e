// Answers and their RESP form.

#include "appliance/morvd/answer.h"

answer text_answer(std::string value)
{
    answer made;
    made.kind = answer::text;
    made.value = std::move(value);
    return made;
}

answer list_answer(std::vector<std::string> items)
{
    answer made;
    made.kind = answer::list;
    made.items = std::move(items);
    return made;
}

answer refuse(int code)
{
    answer made;
    made.kind = answer::refusal;
    made.code = code;
    return made;
}

answer done_or_refuse(result_code code)
{
    return code == result_done ? answer() : refuse(code);
}

static void append_bulk(std::string &wire, std::string_view text)
{
    wire.append("$").append(std::to_string(text.size())).append("\r\n").append(text).append("\r\n");
}

std::string on_the_wire(const answer &answer)
{
    std::string wire;
    switch (answer.kind) {
    case answer::done:
        return "+OK\r\n";
    case answer::absent:
        return "$-1\r\n";
    case answer::text:
        append_bulk(wire, answer.value);
        return wire;
    case answer::list:
        wire.append("*").append(std::to_string(answer.items.size())).append("\r\n");
        for (const std::string &item : answer.items)
            append_bulk(wire, item);
        return wire;
    case answer::refusal:
        wire.append("-ERR ").append(std::to_string(answer.code)).append(" ").append(result_words(answer.code));
        return wire.append("\r\n");
    }
    return wire;
}
