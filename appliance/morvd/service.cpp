// Who may ask, which verb is asked for, and whether a fault stands in the way.

#include "appliance/morvd/service.h"

#include <charconv>
#include <pwd.h>

#include "appliance/morvd/desk.h"
#include "appliance/morvd/tree.h"

static constexpr size_t user_size = 64;

using word_list = std::vector<std::string>;

// --- Logging in -----------------------------------------------------------------------------------------------------

static bool is_trusted(const service &service, const session &session)
{
    return session.peer == 0 || session.peer == service.own_user;
}

static bool is_session_id(std::string_view text)
{
    int sid = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), sid);
    return error == std::errc() && end == text.data() + text.size() && sid > 0;
}

static answer login(service &service, session &session, const word_list &words)
{
    if (!is_trusted(service, session))
        return refuse(result_login_refused);
    if (words.size() != 3 || words[1].empty() || words[1].size() > user_size || has_control_characters(words[1]) ||
        !is_session_id(words[2]))
        return refuse(result_bad_arguments);
    session.logged_in = true;
    return text_answer(make_token(service.key, words[1], words[2]));
}

// A program that has given its privilege up since it logged in comes back as the user whom it logged in for.
static bool may_resume(const service &service, const session &session, const std::string &user)
{
    if (is_trusted(service, session))
        return true;
    const passwd *entry = getpwnam(user.c_str());
    return entry && entry->pw_uid == session.peer;
}

static answer resume(service &service, session &session, const word_list &words)
{
    if (words.size() != 2)
        return refuse(result_bad_arguments);
    std::string user;
    if (!read_token(service.key, words[1], &user) || !may_resume(service, session, user))
        return refuse(result_token_refused);
    session.logged_in = true;
    return {};
}

// --- Requests -------------------------------------------------------------------------------------------------------

static answer ask(service &service, const word_list &words)
{
    const verb_row *row = find_verb(words[0]);
    if (!row)
        return refuse(result_unknown_verb);
    size_t count = words.size() - 1;
    if (count < row->least || count > row->most)
        return refuse(result_bad_arguments);
    if (row->code == verb::commit) // all else takes effect when it is set
        return done_or_refuse(commit_network(*service.line.network));
    return ask_tree(service.line, row->code, words[1], std::span(words).subspan(2));
}

static answer treat_soundly(service &service, session &session, const word_list &words)
{
    bool entering = words[0] == "login" || words[0] == "resume";
    if (entering && session.logged_in)
        return refuse(result_already_logged_in);
    if (entering)
        return words[0] == "login" ? login(service, session, words) : resume(service, session, words);
    return session.logged_in ? ask(service, words) : refuse(result_not_logged_in);
}

answer treat_request(service &service, session &session, const word_list &words)
{
    service.line.settle(service.line.self);
    // The desk is not subject to its own faults: they could not be taken back.
    if (words[0] == "desk")
        return session.logged_in ? treat_desk(service, words) : refuse(result_not_logged_in);

    fault met;
    bool has_path = words.size() > 1 && find_verb(words[0]);
    if (!meet_fault(service.faults, words[0], has_path ? words[1] : "", &met))
        return treat_soundly(service, session, words);
    if (met.kind == fault_kind::refuse)
        return refuse(met.code);
    answer made = met.kind == fault_kind::drop ? answer() : treat_soundly(service, session, words);
    made.drop = met.kind == fault_kind::drop;
    made.delay_ms = met.delay_ms;
    return made;
}
