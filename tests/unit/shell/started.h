// A start of the whole program in a process of its own, and what it left behind.
#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <readline/readline.h>

#include "tests/fakes/fakes.h"
#include "tests/unit/shell/counts.h"

namespace started {

// What a start left behind.
struct ended {
    int status = -1;
    std::string answers; // through the editor's stream
    std::string out;     // stdout itself
    std::string err;
    std::string log;      // as dump_log, without debug lines
    std::string debug;    // the debug lines
    std::string events;   // one a line, without the texts of the tap
    std::string tap;      // what the tap was handed, behind one another
    bool starved = false; // an allocation was made to fail and did
};

struct start {
    texts words = {"ztcli"}; // argv
    std::string input = {};  // what stands in stdin
    std::function<void()> before = {};
};

// The event of root being put aside, from the start and behind the login.
inline std::string put_aside()
{
    return "seteuid " + std::to_string(getuid()) + "\n";
}

// A file without a name.
class scratch {
public:
    scratch() : file_(tmpfile()) {}
    ~scratch() { fclose(file_); }
    scratch(const scratch &) = delete;
    scratch &operator=(const scratch &) = delete;
    int number() const { return fileno(file_); }
    void put(const std::string &text) const
    {
        ASSERT_EQ(pwrite(number(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }
    std::string content() const
    {
        std::string text(static_cast<size_t>(lseek(number(), 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(number(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }

private:
    FILE *file_;
};

// Parts of the report from the child, divided by a byte that none of them has.
inline constexpr char divider = '\x1e';

inline std::string report_text()
{
    std::string log, debug, all_events, tap;
    for (const log_record &record : log_records()) {
        const std::string line = std::to_string(record.level) + " " + record.message + "\n";
        if (record.level == 7)
            debug += record.message.substr(record.message.find(") ") + 2) + "\n";
        else if (!is_position(record))
            log += line;
    }
    for (const std::string &event : events())
        if (!event.starts_with("tap "))
            all_events += event + "\n";
    for (const std::string &text : session.tap)
        tap += text;
    return printed() + divider + log + divider + debug + divider + all_events + divider + tap + divider +
           (heap.failed() ? "starved" : "");
}

inline int report_number;

// Runs behind the program's own exit handler and ends the process before anything of the tests' own.
inline void report(int status, void *)
{
    const std::string text = report_text();
    fflush(stdout);
    if (pwrite(report_number, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
        status = 99;
    heap.fail_at(0); // whoever counts needs memory
    write_counts();
    _exit(status);
}

inline std::string take_part(std::string &text)
{
    const size_t at = text.find(divider);
    std::string part = text.substr(0, at);
    text = at == text.npos ? "" : text.substr(at + 1);
    return part;
}

[[noreturn]] inline void run_child(const start &given, int in, int out, int err)
{
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    cli_session = nullptr;
    cli_tsapi = nullptr;
    cli_sid = 0;
    cli_own_name = 0;
    restart_getopt();
    rl_instream = stdin;
    if (given.before)
        given.before();
    on_exit(report, nullptr);

    std::vector<char *> argv;
    texts words = given.words;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    exit(ztcli_main(static_cast<int>(words.size()), argv.data()));
}

inline ended run(const start &given, int terminal = -1)
{
    const scratch in, out, err, reported;
    in.put(given.input);
    report_number = reported.number();
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
        run_child(given, terminal >= 0 ? terminal : in.number(), out.number(), err.number());

    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    std::string text = reported.content();
    ended result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    result.answers = take_part(text);
    result.log = take_part(text);
    result.debug = take_part(text);
    result.events = take_part(text);
    result.tap = take_part(text);
    result.starved = take_part(text) == "starved";
    result.out = out.content();
    result.err = err.content();
    return result;
}

} // namespace started
