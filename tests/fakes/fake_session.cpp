// The session, authentication and logging libraries, and the root.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/include/dlog.h"
#include "platform/include/vrn_auth.h"
#include "platform/root.h"
#include "tests/fakes/state.h"

using namespace fakes;

static ci_session the_session;
static std::string the_command;
static std::vector<log_record> records;
static texts all_events;
static texts all_exchanges;

int ci_errno;

// --- Records --------------------------------------------------------------------------------------------------------

namespace fakes {

void record_event(std::string text)
{
    all_events.push_back(std::move(text));
}

void record_exchange(const std::string &text)
{
    all_exchanges.push_back(text);
    record_event("send " + text);
}

const texts &exchanges()
{
    return all_exchanges;
}

const texts &events()
{
    return all_events;
}

const std::vector<log_record> &log_records()
{
    return records;
}

// Of the position "(file.cpp:123) " that the message begins with; 0 where it begins with none.
static size_t position_length(const std::string &message)
{
    int end = 0;
    sscanf(message.c_str(), "(%*[A-Za-z0-9_].%*[cph]:%*[0-9])%n", &end);
    return end > 0 && message[static_cast<size_t>(end)] == ' ' ? static_cast<size_t>(end) + 1 : 0;
}

bool is_position(const log_record &record)
{
    return !record.message.empty() && position_length(record.message) == record.message.size();
}

texts log_texts(int level)
{
    texts messages;
    for (const log_record &record : records)
        if (record.level == level && !is_position(record))
            messages.push_back(record.message);
    return messages;
}

bool logged(const std::string &message)
{
    for (const log_record &record : records)
        if (record.message == message ||
            (record.level == 7 && record.message.substr(position_length(record.message)) == message))
            return true;
    return false;
}

std::string dump_log()
{
    std::string dump;
    for (const log_record &record : records)
        dump += std::to_string(record.level) + " " + record.tag + " " + record.message + "\n";
    return dump;
}

texts failures()
{
    texts messages;
    for (size_t at = 0; at < records.size(); at++) {
        const log_record &record = records[at];
        if (record.level != 4 || record.tag != "ZTCLI" || is_position(record))
            continue;
        if (at == 0 || records[at - 1].level != 4 || !is_position(records[at - 1]))
            ADD_FAILURE() << "no position record before \"" << record.message << "\"";
        if (!record.message.starts_with("Found capability "))
            messages.push_back(record.message);
    }
    return messages;
}

void forget_session()
{
    records.clear();
    all_events.clear();
    all_exchanges.clear();
    session.tap.clear();
}

void reset_session()
{
    session = {};
    the_session = {};
    ci_errno = 0;
    forget_session();
}

ci_session *open_session()
{
    the_command = session.command.value_or("");
    the_session.command = session.command ? the_command.data() : nullptr;
    return &the_session;
}

} // namespace fakes

// --- Session library ------------------------------------------------------------------------------------------------

ci_session *ci_init(int (*)(void *))
{
    record_event("init");
    ci_errno = session.opens ? 0 : session.open_errno;
    return session.opens ? open_session() : nullptr;
}

int ci_dla(ci_session *, const char *text)
{
    record_event(std::string("tap ") + text);
    session.tap.emplace_back(text);
    return session.tap_works;
}

void ci_reset_to(ci_session *)
{
    record_event("reset_to");
}

void ci_check_modules(ci_session *)
{
    record_event("check_modules");
}

void ci_flag_signal(int signo, int value)
{
    record_event("flag_signal " + std::to_string(signo) + " " + std::to_string(value));
}

void ci_set_sighandler(void (*function)())
{
    record_event("set_sighandler");
    session.sighandler = function;
}

void ci_signal_treat()
{
    record_event("signal_treat");
    if (session.on_signal_treat)
        session.on_signal_treat();
}

int ci_exec(ci_session *, const char *module, const char *function, const char *arguments)
{
    auto shown = [](const char *text) { return std::string(text ? text : "(null)"); };
    record_event("exec " + shown(module) + " " + shown(function) + " " + shown(arguments));
    return session.exec_result;
}

// --- Authentication, log, root --------------------------------------------------------------------------------------

int vrn_auth_session_get_sid(ci_session *)
{
    return session.sid;
}

char *vrn_auth_session_get_username(ci_session *)
{
    return session.user ? strdup(session.user->c_str()) : nullptr;
}

void __dlog_printf(int level, const char *tag, const char *format, ...)
{
    int saved_errno = errno;
    va_list list;
    va_start(list, format);
    va_list copy;
    va_copy(copy, list);
    std::string message(static_cast<size_t>(vsnprintf(nullptr, 0, format, copy)), '\0');
    va_end(copy);
    vsnprintf(message.data(), message.size() + 1, format, list);
    va_end(list);
    records.push_back({level, tag ? tag : "(null)", message});
    errno = saved_errno;
}

const char *root_path(const char *absolute, char *buffer)
{
    std::string path = session.root + absolute;
    if (path.size() >= root_path_size) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    memcpy(buffer, path.c_str(), path.size() + 1);
    return buffer;
}
