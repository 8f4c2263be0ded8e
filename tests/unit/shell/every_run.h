// Runs the lines of every_line.h with one thing failing, and says what no answer may be then.
#pragma once

#include "core/ztd_shm.h"
#include "tests/unit/shell/every_line.h"

namespace every {

enum route {
    by_segment, // through the dispatcher
    by_tree,    // past its gate, with the segment out of reach
};

struct run_case {
    line_case line;
    route by;
    int number;
};

// Not worth it are what asks neither of the two, and the summary of a whole chain: it asks what the long form asks, and
// that of a unit is enough for its words.
inline bool is_worth_the_tree(const line_case &line)
{
    return !line.prepare && !(line.measured && line.line.ends_with(" summary"));
}

inline std::vector<run_case> all_runs()
{
    std::vector<run_case> runs;
    for (const line_case &line : all_lines())
        for (route by : {by_segment, by_tree})
            if (by == by_segment || is_worth_the_tree(line))
                runs.push_back({line, by, static_cast<int>(runs.size())});
    return runs;
}

inline std::ostream &operator<<(std::ostream &out, const run_case &run)
{
    return out << '"' << run.line.line << (run.by == by_segment ? "\" by the segment" : "\" by the tree");
}

inline std::string title(const testing::TestParamInfo<run_case> &info)
{
    std::string name = std::to_string(info.param.number) + "_" + info.param.line.line;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !isalnum(static_cast<unsigned char>(c)); }, '_');
    return name + (info.param.by == by_segment ? "_by_segment" : "_by_tree");
}

// --- One run ---------------------------------------------------------------------------------------------------------

struct outcome {
    std::string text;
    int result = 0;
    bool operator==(const outcome &) const = default;
    bool operator<(const outcome &other) const { return std::tie(text, result) < std::tie(other.text, other.result); }
};

inline std::ostream &operator<<(std::ostream &out, const outcome &what)
{
    return out << what.result << ' ' << testing::PrintToString(what.text);
}

// The rows whose handlers a line was handed to, as the dispatcher does it.
inline int run_rows_past_the_gate(const std::string &line, char **out, std::set<int> *rows = nullptr)
{
    int going = 1;
    for (int row = 0; going && command_table[row].handler; row++) {
        if (!row_matches(command_table[row], line.c_str(), line.size()))
            continue;
        if (rows)
            rows->insert(row);
        going = command_table[row].handler(row, out, captured_args());
        if (*out)
            going = 0;
    }
    return going;
}

inline outcome answer_past_the_gate(const std::string &line)
{
    forget();
    const size_t before = heap.live();
    cli_own_name = 0;
    char *out = nullptr;
    outcome what;
    what.result = run_rows_past_the_gate(line, &out);
    cli_own_name = 1;
    what.text = printed() + (out ? out : what.result ? failure_text : "");
    free(out);
    EXPECT_EQ(heap.live(), before) << "heap memory not given back after \"" << line << "\"";
    return what;
}

inline outcome answer_of(const run_case &run)
{
    tree.put_back();
    if (run.line.prepare)
        run.line.prepare();
    if (run.line.prepare == child_of_upgrade) {
        const int status = end_of_child(run.line.line);
        return {printed(), status};
    }
    if (run.by == by_tree)
        return answer_past_the_gate(run.line.line);
    std::string text = answer(run.line.line);
    return {text, last_result()};
}

// --- Faults ----------------------------------------------------------------------------------------------------------

enum fault { exchange_refused, exchange_dropped, session_not_ready, no_memory, nothing_appended };

inline constexpr fault exchange_faults[] = {exchange_refused, exchange_dropped, session_not_ready};
inline constexpr const char *fault_names[] = {"exchange refused", "exchange dropped", "session not ready", "no memory",
                                              "nothing appended"};
inline constexpr const char *fault_traces[] = {"An error was encountered during the PSAPI request.",
                                               "Unable to send request to MORVD.",
                                               "Unable to make TSAPI session ready for use."};

inline int count_events(const std::string &event)
{
    return static_cast<int>(std::count(events().begin(), events().end(), event));
}

// How often the thing that fails was done in the last run.
inline int times(fault what)
{
    switch (what) {
    case no_memory:
        return heap.count();
    case nothing_appended:
        return heap.growth_count();
    default:
        return count_events("ready");
    }
}

inline void arm(fault what, int n)
{
    heap.fail_at(what == no_memory ? n : 0);
    heap.fail_growth_at(what == nothing_appended ? n : 0);
    tree.fail_exchange(what == exchange_refused || what == exchange_dropped ? n : 0,
                       what == exchange_dropped ? dropped : refused);
    tree.fail_ready(what == session_not_ready ? 55 : 0, what == session_not_ready ? n : 0);
}

inline void disarm()
{
    arm(no_memory, 0);
}

// The exchanges of the last run that did not go their whole way from ready to release.
struct open_ends {
    int never_sent = 0;
    int never_answered = 0;
    bool operator==(const open_ends &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const open_ends &ends)
{
    return out << ends.never_sent << " never sent, " << ends.never_answered << " never answered";
}

inline open_ends ends_of_exchanges()
{
    std::string course; // a letter an event
    for (const std::string &event : events())
        course += event == "ready"             ? "r"
                  : event.starts_with("send ") ? "s"
                  : event == "idle"            ? "i"
                  : event == "release"         ? "x"
                                               : "";
    open_ends ends;
    for (size_t at = 0; at < course.size();) {
        const size_t length =
            course.find('r', at + 1) == course.npos ? course.size() - at : course.find('r', at + 1) - at;
        const std::string one = course.substr(at, length);
        ends.never_sent += one == "r";
        ends.never_answered += one == "rs";
        EXPECT_TRUE(one == "rsix" || one == "r" || one == "rs") << "an exchange went " << one;
        at += length;
    }
    return ends;
}

// What the last run changed in the tree.
inline texts writes()
{
    texts all;
    for (const std::string &exchange : exchanges())
        if (!exchange.starts_with("info ") && !exchange.starts_with("get ") && !exchange.starts_with("list ") &&
            !exchange.starts_with("mlist "))
            all.push_back(exchange);
    return all;
}

// --- A whole run, and what it says of the others --------------------------------------------------------------------

struct whole_run {
    outcome what;
    texts lines;
    texts exchanged;
    texts written;
    texts log;
    int counts[5];
};

inline whole_run without_a_fault(const run_case &run)
{
    disarm();
    whole_run whole;
    whole.what = answer_of(run);
    whole.lines = lines_of(whole.what.text);
    whole.exchanged = exchanges();
    whole.written = writes();
    whole.log = failures();
    for (fault what : {exchange_refused, exchange_dropped, session_not_ready, no_memory, nothing_appended})
        whole.counts[what] = times(what);
    EXPECT_EQ(ends_of_exchanges(), open_ends{});
    EXPECT_EQ(whole.counts[session_not_ready], static_cast<int>(whole.exchanged.size()));
    return whole;
}

inline bool is_among(const std::string &text, const texts &all)
{
    return std::find(all.begin(), all.end(), text) != all.end();
}

inline texts parts_of(const std::string &text, const char *between)
{
    texts parts;
    for (size_t from = 0; (from = text.find_first_not_of(between, from)) != text.npos;) {
        const size_t end = std::min(text.find_first_of(between, from), text.size());
        std::string part = text.substr(from, end - from);
        from = end;
        if (part.ends_with('.')) // of a sentence
            part.pop_back();
        if (!part.empty())
            parts.push_back(part);
    }
    return parts;
}

// A line of the whole answer with some of its words and values missing, and nothing in their place.
inline bool is_shortened(const std::string &line, const texts &whole)
{
    static constexpr char between[] = " ,:;/()\n\xF8";
    const texts words = parts_of(line, between);
    return std::any_of(whole.begin(), whole.end(), [&](const std::string &longer) {
        size_t found = 0;
        for (const std::string &word : parts_of(longer, between))
            found += found < words.size() && word == words[found];
        return found == words.size();
    });
}

// A line of the whole answer that broke off, and goes on with another one of them.
inline bool is_run_on(const std::string &line, const texts &whole)
{
    return std::any_of(whole.begin(), whole.end(), [&](const std::string &last) {
        const std::string first = line.ends_with(last) ? line.substr(0, line.size() - last.size()) : "";
        const auto begins = [&](const std::string &longer) { return longer.starts_with(first); };
        return !first.empty() && std::any_of(whole.begin(), whole.end(), begins);
    });
}

// The same action on no other outlets than those that were named.
inline bool is_part_of(const std::string &write, const std::string &whole)
{
    const size_t args = write.rfind(' ') + 1;
    if (whole.substr(0, args) != write.substr(0, args))
        return false;
    const texts asked = parts_of(whole.substr(args), ",");
    const texts done = parts_of(write.substr(args), ",");
    return std::all_of(done.begin(), done.end(), [&](const std::string &one) { return is_among(one, asked); });
}

// Nothing is said that is not so: each line is one of the whole answer, whole or shortened, or says what failed.
inline void expect_true_words(const run_case &run, const whole_run &whole, const outcome &what)
{
    const texts sentences = failure_sentences(run.line.line);
    for (const std::string &line : lines_of(what.text))
        EXPECT_TRUE(is_among(line, whole.lines) || is_among(line, sentences) || is_among(line, run.line.others) ||
                    line == failure_text || line == no_such_ipdu || is_shortened(line, whole.lines) ||
                    is_run_on(line, whole.lines))
            << testing::PrintToString(line);
}

// Nothing is done that was not asked for, and a failure is shown as one.
inline void expect_true_deeds(const run_case &run, const whole_run &whole, const outcome &what)
{
    const bool has_status = run.line.prepare == child_of_upgrade; // and no text for its failure
    EXPECT_TRUE(has_status || (what.result != 0) == what.text.ends_with(failure_text)) << what;
    const auto is_asked = [&](const std::string &write) {
        const auto begins = [&](const std::string &begin) { return write.starts_with(begin); };
        return std::any_of(whole.written.begin(), whole.written.end(),
                           [&](const std::string &asked) { return is_part_of(write, asked); }) ||
               std::any_of(run.line.done.begin(), run.line.done.end(), begins);
    };
    for (const std::string &write : writes())
        EXPECT_TRUE(is_asked(write)) << write;
}

// A run in a chain of its own, with the n-th of something failing, for all n.
struct every_test : testing::TestWithParam<run_case> {
    const run_case &run = GetParam();
    small_chain chain{run.line.measured};
    std::string ver; // what it answers before and must answer behind
    FILE *instream = rl_instream;

    every_test()
    {
        rl_instream = stdin;
        if (run.line.dress)
            run.line.dress(chain);
        tree.keep();
        ver = answer("ver");
    }
    ~every_test() override
    {
        disarm();
        tree.put_back();
        EXPECT_EQ(answer("ver"), ver);
        rl_instream = instream;
    }

    outcome with(fault what, int n) const
    {
        arm(what, n);
        outcome result = answer_of(run);
        happened = what == no_memory          ? heap.failed()
                   : what == nothing_appended ? heap.growth_failed()
                                              : ends_of_exchanges() != open_ends{} || tree.exchange_failed();
        disarm();
        return result;
    }
    mutable bool happened = false; // the fault of the last run
};

} // namespace every
