// The text with which the control daemon names a module of the session library: what `shell` hands on is what the text
// says, taken apart here in another way.

#include <algorithm>
#include <optional>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/fuzz_chain.h"

static bool separates(std::string_view field)
{
    return !(field.ends_with('\\') || std::ranges::count(field, '"') % 2 || std::ranges::count(field, '\'') % 2);
}

static std::vector<std::string> fields_of(const std::string &text)
{
    std::vector<std::string> fields;
    std::string field;
    for (char c : text) {
        if (c == ';' && separates(field)) {
            if (!field.empty())
                fields.push_back(field);
            field.clear();
        } else {
            field += c;
        }
    }
    if (!field.empty())
        fields.push_back(field);
    return fields;
}

static std::optional<std::string> expected_call(const std::string &text)
{
    static constexpr std::string_view keys[] = {"ci_module=", "ci_function=", "ci_args="};
    const std::vector<std::string> fields = fields_of(text);
    if (fields.size() < std::size(keys))
        return std::nullopt;
    std::string call = "exec";
    for (size_t at = 0; at < std::size(keys); at++) {
        const size_t begin = fields[at].find_first_not_of(" \t");
        if (begin == std::string::npos || fields[at].compare(begin, keys[at].size(), keys[at]) != 0)
            return std::nullopt;
        call += " " + fields[at].substr(begin + keys[at].size());
    }
    return call;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_world();
    const std::string text = c_text(input_text(data, size));
    tree.text("appliance.shell", text);
    session.exec_result = size % 2;
    const std::string said = answer("shell");

    std::optional<std::string> call;
    for (const std::string &event : events()) {
        if (!event.starts_with("exec "))
            continue;
        must(!call, "one call at most");
        call = event;
    }
    const std::optional<std::string> expected = expected_call(text);
    must(call == expected, "what the text names is called",
         call.value_or("nothing") + "\n--- expected:\n" + expected.value_or("nothing"));
    const bool taken = text.empty() || (call && session.exec_result != 0);
    must(said == (taken ? "" : failure_text), "what is called without success, or no text, ends in silence", said);
    return 0;
}
