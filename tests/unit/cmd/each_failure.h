// What a command answers while one thing after the other fails under it.
#pragma once

#include <algorithm>
#include <functional>
#include <string>

#include "tests/fakes/fakes.h"

using answering = std::function<std::string()>;

// The answers with the n-th exchange failing, for n = 1, 2, ..., and last the whole answer.
inline texts with_each_exchange_failing(how way, const answering &run)
{
    texts answers;
    each_failing_exchange(way, [&](int) { answers.push_back(run()); });
    return answers;
}

// It makes no difference whether an exchange is refused or dropped.
inline void expect_with_each_exchange_failing(const texts &answers, const answering &run)
{
    for (how way : {refused, dropped})
        EXPECT_EQ(with_each_exchange_failing(way, run), answers) << (way == refused ? "refused" : "dropped");
}

// `declined` behind a text is a line of its own.
inline texts lines_of(const std::string &text)
{
    texts lines;
    for (size_t from = 0; from < text.size();) {
        size_t end = std::min(text.find('\n', from), text.size() - 1) + 1;
        lines.push_back(text.substr(from, end - from));
        from = end;
    }
    return lines;
}

// With the n-th allocation failing, for n = 1, 2, ..., lines may be missing, but each that comes is one of the whole
// answer or of `others`; behind that the whole answer comes again.
inline void expect_with_each_allocation_failing(const texts &others, const answering &run)
{
    const std::string whole = run();
    texts allowed = lines_of(whole);
    allowed.insert(allowed.end(), others.begin(), others.end());
    int failed = each_failing_allocation([&](int n) {
        for (const std::string &line : lines_of(run()))
            EXPECT_TRUE(std::find(allowed.begin(), allowed.end(), line) != allowed.end()) << n << ": " << line;
    });
    EXPECT_GT(failed, 0);
    EXPECT_EQ(run(), whole);
}

inline const std::string declined = "(declined)";

// The text that a handler leaves behind when it is called past the gate, `declined` behind it where the result was a
// failure: the segment is out of reach then.
inline std::string answer_from_tree(command_handler handler, std::initializer_list<argument> arguments = {})
{
    cli_own_name = 0;
    called done = call(handler, arguments);
    cli_own_name = 1;
    return done.text.value_or("") + (done.result ? declined : "");
}

// The unit that the number 3 names: pdu 3 of port 2, so that no two parts of an address are alike.
inline fake_node third_unit_of_second_port(fake_chain &chain, const unit_layout &plan)
{
    chain.unit({.outlets = 0, .phases = 0});
    chain.unit({.outlets = 0, .phases = 0});
    chain.next_port();
    chain.unit({.outlets = 0, .phases = 0});
    chain.unit({.outlets = 0, .phases = 0});
    return chain.unit(plan);
}

// The exchanges behind those that locate a unit by its number.
inline texts exchanges_behind_locating()
{
    const texts locating = {"info power.pdu.1.pdu", "info power.num-devices", "info power.port.1.num-pdus"};
    texts all = exchanges();
    bool located = all.size() >= locating.size() && std::equal(locating.begin(), locating.end(), all.begin());
    EXPECT_TRUE(located);
    if (located)
        all.erase(all.begin(), all.begin() + static_cast<texts::difference_type>(locating.size()));
    return all;
}

// The messages about failures behind the one of the search for a unit of that ID.
inline texts failures_behind_locating()
{
    texts all = failures();
    const std::string locating = "Fail to get pdu from pdu name 1";
    EXPECT_TRUE(!all.empty() && all.front() == locating);
    if (!all.empty() && all.front() == locating)
        all.erase(all.begin());
    return all;
}
