// What comes from a client of the control daemon: each line of the input is a piece. The same requests come of it
// whatever the pieces are, and each comes back the same from the client's own writer.

#include <algorithm>

#include "appliance/morvd/request_reader.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/wire.h"

using request = std::vector<std::string>;

struct reading {
    std::vector<request> requests;
    bool broken = false;
};

static void check_bounds(const request &words)
{
    size_t bytes = 0;
    for (const std::string &word : words)
        bytes += word.size();
    must(!words.empty() && words.size() <= most_request_words, "a request has words, and not too many");
    must(bytes <= most_request_bytes, "they are not too long");
}

static void take_requests(request_reader &reader, reading *made)
{
    request words;
    for (;;) {
        const request_reader::outcome outcome = reader.next(&words);
        made->broken = outcome == request_reader::broken;
        if (outcome != request_reader::complete)
            return;
        check_bounds(words);
        made->requests.push_back(words);
    }
}

static reading read_pieces(const std::vector<std::string> &pieces)
{
    reading made;
    request_reader reader;
    for (const std::string &piece : pieces) {
        if (made.broken)
            break;
        must(reader.feed(piece), "bytes are taken in");
        take_requests(reader, &made);
    }
    return made;
}

// The client's words end at a zero byte, and it sends none without a word.
static void check_writer(const request &words)
{
    std::vector<const char *> texts;
    request cut;
    for (const std::string &word : words) {
        texts.push_back(word.c_str());
        cut.emplace_back(word.c_str());
    }
    prepared_connection over({"+OK\r\n"});
    morvdclient_transaction *answer = resp_exchange(&over.client, resp_ok, texts);
    must(answer, "a request is sent and answered");
    resp_release(answer);
    const reading made = read_pieces({over.sent()});
    must(!made.broken && made.requests.size() == 1 && made.requests[0] == cut, "what the client writes is read");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    resp_limit_ms = 2000; // nobody waits that long
    const std::vector<std::string> pieces = pieces_of(input_text(data, size));
    std::string all;
    for (const std::string &piece : pieces)
        all += piece;

    const reading in_pieces = read_pieces(pieces);
    const reading at_once = read_pieces({all});
    must(in_pieces.requests == at_once.requests && in_pieces.broken == at_once.broken,
         "the same comes of it whatever the pieces are");
    for (const request &words : in_pieces.requests)
        check_writer(words);
    return 0;
}
