// The outlet string. A token comes to the same records whatever stands around it, and one that spoils a string spoils
// each string that it stands in.

#include <algorithm>
#include <optional>

#include "client/types.h"
#include "core/identifiers.h"
#include "core/outlet_string.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/fuzz_chain.h"

static constexpr size_t longest_input = 256;
static constexpr size_t most_tokens = 12; // each is parsed once more by itself

using records = std::vector<outstr_entry>;

static void check_record(const outstr_entry &record, const std::vector<std::string> &tokens)
{
    must(memchr(record.text, '\0', outstr_text_max + 1), "a text ends within what is kept of a token");
    const std::string text = record.text;
    must(std::ranges::any_of(tokens, [&](const auto &token) { return token.substr(0, outstr_text_max) == text; }),
         "a record's text is a token", text);
    if (record.outx == 0 && record.port == 0 && record.pdu == 0 && record.outlet == 0)
        return; // a token that gave no record
    must(record.port >= 1 && record.pdu >= 1 && record.outlet >= 1, "a record of an outlet has its address", text);
    must(record.outx == ppo2outx(record.port, record.pdu, record.outlet), "the number in the chain is the outlet's",
         text);
    must(record.outx == -1 || (record.outx >= 1 && record.outx <= outstr_max), "it is one of 128", text);
}

// The records that a text comes to, nothing where it is a fault.
static std::optional<records> parsed(const std::string &text)
{
    const owned_outstr block = parse_outstr(text.c_str());
    if (!block)
        return std::nullopt;
    const auto used = outstr_records(block);
    for (size_t behind = used.size(); behind < outstr_max; behind++)
        must(block[behind].text[0] == '\0', "the list ends at the first record without a text", text);
    return records(used.begin(), used.end());
}

// Whether a token gave no record, so that its text stands there only as long as no other token follows.
static bool gave_none(const records &own, const std::string &token)
{
    return own.size() == 1 && own[0].outx == 0 && parsed(token + "," + token)->size() == 1;
}

static bool same(const outstr_entry &one, const outstr_entry &other)
{
    return one.outx == other.outx && one.port == other.port && one.pdu == other.pdu && one.outlet == other.outlet &&
           strcmp(one.text, other.text) == 0;
}

// What the tokens come to one by one.
static std::optional<records> one_by_one(const std::vector<std::string> &tokens)
{
    records all;
    for (size_t at = 0; at < tokens.size() && all.size() < outstr_max; at++) {
        std::optional<records> own = parsed(tokens[at]);
        if (!own)
            return std::nullopt;
        if (at + 1 < tokens.size() && gave_none(*own, tokens[at]))
            own->clear();
        all.insert(all.end(), own->begin(), own->end());
    }
    all.resize(std::min<size_t>(all.size(), outstr_max));
    return all;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_world(130);
    forget();
    const std::string text = c_text(input_text(data, std::min(size, longest_input)));
    std::vector<std::string> tokens = cut_at(text, ',');
    std::erase(tokens, "");

    const size_t before = heap.live();
    const std::optional<records> whole = parsed(text);
    must(heap.live() == before, "the heap is as it was");
    must(!text.empty() || !whole, "no text is a fault");
    if (whole)
        for (const outstr_entry &record : *whole)
            check_record(record, tokens);
    if (text.empty() || tokens.size() > most_tokens)
        return 0;

    const std::optional<records> pieces = one_by_one(tokens);
    must(whole.has_value() == pieces.has_value(), "a string is a fault where a token is", text);
    must(!whole || std::ranges::equal(*whole, *pieces, same), "a string comes to what its tokens come to", text);
    failures(); // each has its position
    return 0;
}
