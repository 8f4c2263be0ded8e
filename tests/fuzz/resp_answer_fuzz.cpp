// What comes from the control daemon: each line of the input is a piece that the socket gives at once. An answer that
// is taken is one of the kinds that there are, and comes back the same from the daemon's own writer.

#include <cstring>

#include "appliance/morvd/answer.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/wire.h"

static constexpr unsigned all_kinds = resp_ok | resp_text | resp_absent | resp_list;

static answer daemons_answer(const morvdclient_transaction &taken)
{
    switch (taken.kind) {
    case resp_ok:
        return {};
    case resp_text:
        return text_answer(taken.text);
    case resp_list:
        return list_answer({taken.list.texts, taken.list.texts + taken.list.count});
    case resp_error:
        return refuse(resp_result(&taken));
    case resp_absent:
        break;
    }
    answer absent;
    absent.kind = answer::absent;
    return absent;
}

static morvdclient_transaction *exchange(prepared_connection &over)
{
    static constexpr const char *request[] = {"info", "power.num-devices"};
    return resp_exchange(&over.client, all_kinds, request);
}

static void check_again(const morvdclient_transaction &taken)
{
    const std::string wire = on_the_wire(daemons_answer(taken));
    prepared_connection over({wire});
    morvdclient_transaction *again = exchange(over);
    must(again, "what the daemon writes is taken", wire);
    must(again->kind == taken.kind && resp_result(again) == resp_result(&taken), "and is the same", wire);
    must(again->list.count == taken.list.count, "with as many texts", wire);
    for (int at = 0; at < taken.list.count; at++)
        must(strcmp(again->list.texts[at], taken.list.texts[at]) == 0, "of the same words", wire);
    must(taken.kind != resp_text || strcmp(again->text, taken.text) == 0, "with the same text", wire);
    resp_release(again);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    resp_limit_ms = 2000; // nobody waits that long: what comes is there, and its end
    prepared_connection over(pieces_of(input_text(data, size)));
    if (morvdclient_transaction *taken = exchange(over)) {
        const bool single = taken->kind == resp_ok || taken->kind == resp_text || taken->kind == resp_absent ||
                            taken->kind == resp_list || taken->kind == resp_error;
        must(single, "an answer is of one kind");
        must((taken->text != nullptr) == (taken->kind == resp_text || taken->kind == resp_error),
             "texts and refusals have a text");
        must(resp_result(taken) == 0 || taken->kind == resp_error, "refusals alone have a number");
        must((resp_result(taken) == 0) == (taken->kind != resp_error), "and never 0");
        check_again(*taken);
        resp_release(taken);
    } else {
        must(over.client.socket == -1, "behind an answer that is none there is no connection");
    }
    return 0;
}
