// How the program logs. A failure or a notice is two records, the position and then the message; a debug line is one
// and is written only in debug mode. The formats are literals, a text from outside is always an argument. Nothing is
// formatted here: the logging library decides what is kept.
#pragma once

#include "dlog.h"
#include "shell/cli.h"

#if !defined(__FILE_NAME__)
#error "the position record needs the base name of the source file"
#endif

inline constexpr char log_tag_cli[] = "ZTCLI";
inline constexpr char log_tag_trace[] = "CLITXRX";

inline constexpr int log_level_failure = 4;
inline constexpr int log_level_notice = 6;
inline constexpr int log_level_debug = 7;

// Ends a log_failure, so that a caller can return it: 1, or -1 by a minus in front.
inline int log_failed()
{
    return 1;
}

#define log_position(level) __dlog_printf(level, log_tag_cli, "(%s:%d) ", __FILE_NAME__, __LINE__)
#define log_line(tag, format, ...)                                                                                     \
    (cli_debug                                                                                                         \
         ? __dlog_printf(log_level_debug, tag, "(%s:%d) " format, __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)  \
         : (void)0)

// Level 4: what failed, or what is told at that level although nothing did (log_remark).
#define log_failure(...)                                                                                               \
    (log_position(log_level_failure), __dlog_printf(log_level_failure, log_tag_cli, __VA_ARGS__), log_failed())
#define log_remark(...) ((void)log_failure(__VA_ARGS__))

// Level 6.
#define log_notice(...) (log_position(log_level_notice), __dlog_printf(log_level_notice, log_tag_cli, __VA_ARGS__))

// Level 7, in debug mode only: one record, "(file:line) message". The trace is of lines in and out.
#define log_debug(...) log_line(log_tag_cli, __VA_ARGS__)
#define log_trace(...) log_line(log_tag_trace, __VA_ARGS__)
