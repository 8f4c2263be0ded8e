// The way out: the accumulator that handlers add to, the one place that prints, and the account of time spent in
// control-tree calls.

#include "shell/output.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/time.h>

#include "ci.h"
#include "client/types.h"
#include "core/log.h"
#include "core/render.h"
#include "shell/input.h"

double tsapi_usec;
static double tsapi_mark; // stamp of the last start or stop

// The accumulator that was added to last, and its length: looking for its end each time would cost a listing the square
// of its size.
static struct {
    const char *text;
    size_t length;
} last_output;

static size_t output_length(const char *text)
{
    if (!text)
        return 0;
    return text == last_output.text ? last_output.length : strlen(text);
}

int append_output(char **out, const char *format, ...)
{
    if (!format || !*format)
        return 1;

    va_list values;
    va_start(values, format);
    const owned_text fragment = new_text_of(format, values);
    va_end(values);
    if (!fragment)
        return log_failure("Fail to append instance %s", format);

    const size_t length = strlen(fragment.get());
    const size_t so_far = output_length(*out);
    char *longer = static_cast<char *>(realloc(*out, so_far + length + 1));
    if (!longer)
        return log_failure("Fail to append %s to accumulate string %s", fragment.get(), *out ? *out : "");
    memcpy(longer + so_far, fragment.get(), length + 1);
    *out = longer;
    last_output = {longer, so_far + length};
    return 0;
}

void drop_output(char **out)
{
    last_output = {};
    free(*out);
    *out = nullptr;
}

void cli_output(const char *text)
{
    if (!text)
        return;
    log_trace("TX [%s]", text);
    FILE *terminal = cli_terminal();
    fputs(text, terminal);
    fflush(terminal);
    if (!ci_dla(cli_session, text))
        log_debug("DLA (output) error: %s", text);
}

void cli_output_flush(char **holder)
{
    if (!holder || !*holder)
        return;
    cli_output(*holder);
    drop_output(holder);
}

double time_stamp()
{
    timeval now;
    gettimeofday(&now, nullptr);
    // Intended: the stamp is cut to 32 bits (a command that runs across a wrap shows a false time).
    const uint32_t stamp = static_cast<uint32_t>(now.tv_sec) * 1000000U + static_cast<uint32_t>(now.tv_usec);
    return static_cast<int32_t>(stamp);
}

void tsapi_time_account(int stop)
{
    if (!cli_debug)
        return;
    const double stamp = time_stamp();
    // Intended: a start clears the account (the timing line shows the last bracket, not the sum).
    tsapi_usec = stop ? stamp - tsapi_mark + tsapi_usec : 0;
    tsapi_mark = stamp;
}
