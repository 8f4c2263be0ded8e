// Running a line or a handler, and setting everything back between tests.

#include "tests/fakes/fakes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <readline/readline.h>

#include "tests/fakes/processes.h"
#include "tests/fakes/state.h"
#include "tests/fakes/terminal.h"

int treat_command(char *line);

namespace fakes {

static char *output_text;
static size_t output_size;
static FILE *output;
static int treat_result;

static void open_output()
{
    if (output)
        fclose(output);
    free(output_text);
    output = open_memstream(&output_text, &output_size);
    rl_outstream = output;
}

std::string printed()
{
    fflush(output);
    return {output_text, output_size};
}

void forget()
{
    forget_session();
    forget_libc();
    open_output();
}

std::string answer(const std::string &line)
{
    treat_command(nullptr); // the buffers of the dispatcher stay for good and are no leak
    forget();
    size_t before = heap.live();
    std::string copy = line;
    treat_result = treat_command(copy.data());
    EXPECT_EQ(heap.live(), before) << "heap memory not given back after \"" << line << "\"";
    return printed();
}

int last_result()
{
    return treat_result;
}

called call(int row, std::initializer_list<argument> arguments)
{
    forget();
    char content[cli_arg_count_max][cli_arg_buffer_size] = {};
    char *buffers[cli_arg_count_max];
    for (int at = 0; at < cli_arg_count_max; at++)
        buffers[at] = content[at];
    int count = 0;
    for (const argument &value : arguments) {
        memcpy(content[count], value.text.data(), value.text.size());
        count++;
    }

    size_t before = heap.live();
    char *out = nullptr;
    called done;
    done.result = command_table[row].handler(row, &out, {buffers});
    if (out)
        done.text = out;
    free(out);
    EXPECT_EQ(heap.live(), before) << "heap memory not given back after row " << row;
    return done;
}

called call(command_handler handler, std::initializer_list<argument> arguments)
{
    return call(find_command_row(handler), arguments);
}

int each_failing_allocation(const std::function<void(int n)> &body)
{
    for (int n = 1;; n++) {
        heap.fail_at(n);
        body(n);
        bool failed = heap.failed();
        heap.fail_at(0);
        if (!failed)
            return n - 1;
    }
}

int each_failing_exchange(how way, const std::function<void(int n)> &body)
{
    for (int n = 1;; n++) {
        tree.fail_exchange(n, way);
        body(n);
        bool failed = tree.exchange_failed();
        tree.fail_exchange(0, way);
        if (!failed)
            return n - 1;
    }
}

void restart_getopt()
{
    char name[] = "ztcli";
    char *const words[] = {name, nullptr};
    optind = 0; // which makes getopt forget where in a word it was
    getopt(1, words, "");
    optind = 1;
}

void reset()
{
    reset_libc();
    reset_tree();
    reset_segment();
    reset_session();
    reset_processes();
    reset_terminal();
    open_output();

    treat_command(nullptr); // the dispatcher's buffers stand before a test makes allocations fail
    cli_sid = session.sid;
    cli_session = open_session();
    cli_tsapi = fake_handle();
    cli_debug = 0;
    free(cli_command_line);
    cli_command_line = nullptr;
    cli_interactive = 1;
    free(cli_username);
    cli_username = nullptr;
    cli_saved_termios = nullptr;
    cli_own_name = 1;
    cli_signal_pending = 0;
    for (volatile int &seen : cli_signals_seen)
        seen = 0;
    treat_result = 0;
    forget();
}

void check_settled()
{
    static size_t known; // those of earlier tests are not held against this one
    EXPECT_LE(live_transactions(), known) << "transactions not released";
    known = live_transactions();
}

} // namespace fakes
