// The control tree behind the client of the control daemon: answers by verb and path, failures on request.

#include <cstdlib>
#include <cstring>
#include <set>

#include "platform/include/morvdclient.h"
#include "platform/include/vrn_tsapi.h"
#include "tests/fakes/state.h"

using namespace fakes;

struct morvdclient_list {
    texts names;
};

struct morvdclient_transaction {
    int code = 0;
    std::optional<std::string> value;
    std::optional<morvdclient_list> list;
};

struct vrn_tsapi_handle {
    int unused;
};

struct morvdclient_connection {
    int unused;
};

namespace {

constexpr int no_such_node = 2;

struct leaf {
    int order;
    std::optional<std::string> value; // nothing: absent
};

struct failure {
    how way;
    int code;
};

struct nth_failure {
    int left = -1; // -1: none; 0: every time
    int code = 0;
};

struct world {
    std::map<std::string, leaf> leaves;
    std::map<std::string, texts> lists;
    std::map<std::string, int> list_order;
    std::map<std::string, failure> failures; // by "verb path"
    std::map<std::string, std::function<void(const texts &)>> actions;
    int order = 0;
    int exchange_countdown = 0; // 0: none
    bool exchange_failed = false;
    failure exchange_failure = {};
    nth_failure ready, idle;
};

world now;
world kept;
vrn_tsapi_handle the_handle;
morvdclient_connection the_connection;
size_t transactions;

std::string key(const std::string &verb, const std::string &path)
{
    return verb + " " + path;
}

int count_down(nth_failure &which)
{
    if (which.left == 0)
        return which.code;
    return which.left > 0 && --which.left == 0 ? (which.left = -1, which.code) : 0;
}

// What went wrong with this exchange by request, if anything.
std::optional<failure> asked_failure(const std::string &which)
{
    if (now.exchange_countdown > 0 && --now.exchange_countdown == 0) {
        now.exchange_failed = true;
        return now.exchange_failure;
    }
    auto found = now.failures.find(which);
    return found == now.failures.end() ? std::nullopt : std::optional(found->second);
}

void read_leaf(morvdclient_transaction &answer, const std::string &path)
{
    auto found = now.leaves.find(path);
    if (found == now.leaves.end())
        answer.code = no_such_node;
    else
        answer.value = found->second.value;
}

void read_list(morvdclient_transaction &answer, const std::string &path)
{
    texts names = tree.children(path);
    if (names.empty() && !now.lists.contains(path))
        answer.code = no_such_node;
    else
        answer.list = morvdclient_list{names};
}

void serve(morvdclient_transaction &answer, const std::string &verb, const std::string &path, const texts &args)
{
    if (verb == "get" || verb == "info")
        read_leaf(answer, path);
    else if (verb == "list" || verb == "mlist")
        read_list(answer, path);
    else if ((verb == "set" || verb == "admin") && args.size() == 1)
        tree.text(path, args[0]);
}

morvdclient_transaction *exchange(const std::string &verb, const char *path, const texts &args)
{
    std::string which = key(verb, path ? path : "(null)");
    std::string text = which;
    for (const std::string &arg : args)
        text += " " + arg;
    record_exchange(text);

    std::optional<failure> wrong = asked_failure(which);
    if (!path || (wrong && wrong->way == dropped))
        return nullptr;
    auto *answer = new morvdclient_transaction;
    transactions++;
    if (wrong)
        answer->code = wrong->code;
    else
        serve(*answer, verb, path, args);
    auto action = now.actions.find(which);
    if (answer->code == 0 && action != now.actions.end())
        action->second(args);
    return answer;
}

texts args_of(const char *const *args)
{
    texts all;
    for (; args && *args; args++)
        all.emplace_back(*args);
    return all;
}

std::string text_of(const char *text)
{
    return text ? text : "(null)";
}

} // namespace

// --- What tests set -------------------------------------------------------------------------------------------------

namespace fakes {

fake_tree &fake_tree::text(const std::string &path, const std::string &value)
{
    auto [at, fresh] = now.leaves.try_emplace(path, leaf{now.order, value});
    now.order += fresh;
    at->second.value = value;
    return *this;
}

fake_tree &fake_tree::absent(const std::string &path)
{
    text(path, "");
    now.leaves[path].value.reset();
    return *this;
}

fake_tree &fake_tree::list(const std::string &path, const texts &names)
{
    now.lists[path] = names;
    now.list_order.try_emplace(path, now.order++);
    return *this;
}

fake_tree &fake_tree::list(const std::string &path, std::initializer_list<int> numbers)
{
    texts names;
    for (int number : numbers)
        names.push_back(std::to_string(number));
    return list(path, names);
}

fake_tree &fake_tree::remove(const std::string &path)
{
    auto below = [&](const auto &entry) { return entry.first == path || entry.first.starts_with(path + "."); };
    std::erase_if(now.leaves, below);
    std::erase_if(now.lists, below);
    std::erase_if(now.list_order, below);
    return *this;
}

fake_tree &fake_tree::refuse(const std::string &verb, const std::string &path, int code)
{
    now.failures[key(verb, path)] = {refused, code};
    return *this;
}

fake_tree &fake_tree::drop(const std::string &verb, const std::string &path)
{
    now.failures[key(verb, path)] = {dropped, 0};
    return *this;
}

fake_tree &fake_tree::allow(const std::string &verb, const std::string &path)
{
    now.failures.erase(key(verb, path));
    return *this;
}

fake_tree &fake_tree::fail_exchange(int n, how way, int code)
{
    now.exchange_countdown = n;
    now.exchange_failed = false;
    now.exchange_failure = {way, code};
    return *this;
}

bool fake_tree::exchange_failed() const
{
    return now.exchange_failed;
}

fake_tree &fake_tree::fail_ready(int code, int n)
{
    now.ready = {n, code};
    return *this;
}

fake_tree &fake_tree::fail_idle(int code, int n)
{
    now.idle = {n, code};
    return *this;
}

fake_tree &fake_tree::when(const std::string &verb, const std::string &path, std::function<void(const texts &)> action)
{
    now.actions[key(verb, path)] = std::move(action);
    return *this;
}

std::optional<std::string> fake_tree::value(const std::string &path) const
{
    auto found = now.leaves.find(path);
    return found == now.leaves.end() ? std::nullopt : found->second.value;
}

void fake_tree::keep() const
{
    kept = now;
}

void fake_tree::put_back() const
{
    now.leaves = kept.leaves;
    now.lists = kept.lists;
    now.list_order = kept.list_order;
    now.order = kept.order;
}

texts fake_tree::children(const std::string &path) const
{
    if (auto given = now.lists.find(path); given != now.lists.end())
        return given->second;

    const std::string begin = path + ".";
    std::map<int, std::string> found;
    auto take_all_below = [&](const auto &all, auto order_of) {
        for (auto at = all.lower_bound(begin); at != all.end() && at->first.starts_with(begin); ++at)
            found[order_of(at->second)] =
                at->first.substr(begin.size(), at->first.find('.', begin.size()) - begin.size());
    };
    take_all_below(now.leaves, [](const leaf &entry) { return entry.order; });
    take_all_below(now.list_order, [](int order) { return order; });

    texts names;
    std::set<std::string> seen;
    for (const auto &[order, name] : found)
        if (seen.insert(name).second)
            names.push_back(name);
    return names;
}

void reset_tree()
{
    now = {};
}

size_t live_transactions()
{
    return transactions;
}

} // namespace fakes

// --- The client of the control daemon -------------------------------------------------------------------------------

morvdclient_transaction *morvdclient_send_get(morvdclient_connection *, const char *path)
{
    return exchange("get", path, {});
}

morvdclient_transaction *morvdclient_send_set(morvdclient_connection *, const char *path, const char *value)
{
    return exchange("set", path, {text_of(value)});
}

morvdclient_transaction *morvdclient_send_info(morvdclient_connection *, const char *path, const char *const *args)
{
    return exchange("info", path, args_of(args));
}

morvdclient_transaction *morvdclient_send_admin(morvdclient_connection *, const char *path, const char *const *args)
{
    return exchange("admin", path, args_of(args));
}

morvdclient_transaction *morvdclient_send_list(morvdclient_connection *, const char *path)
{
    return exchange("list", path, {});
}

morvdclient_transaction *morvdclient_send_mlist(morvdclient_connection *, const char *path)
{
    return exchange("mlist", path, {});
}

morvdclient_transaction *morvdclient_send_add(morvdclient_connection *, const char *path, const char *name)
{
    return exchange("add", path, {text_of(name)});
}

morvdclient_transaction *morvdclient_send_del(morvdclient_connection *, const char *path, const char *name)
{
    return exchange("del", path, {text_of(name)});
}

morvdclient_transaction *morvdclient_send_move(morvdclient_connection *, const char *path, const char *first,
                                               const char *second)
{
    return exchange("move", path, {text_of(first), text_of(second)});
}

int morvdclient_transaction_get_result_code(morvdclient_transaction *transaction)
{
    return transaction->code;
}

const char *morvdclient_transaction_get_value(morvdclient_transaction *transaction)
{
    return transaction->value ? transaction->value->c_str() : nullptr;
}

morvdclient_list *morvdclient_transaction_get_list(morvdclient_transaction *transaction)
{
    return transaction->list ? &*transaction->list : nullptr;
}

paramtype_UTF8String_list *morvdclient_list_to_UTF8String_list(morvdclient_list *list)
{
    paramtype_UTF8String_list *first = nullptr;
    paramtype_UTF8String_list **end = &first;
    for (const std::string &name : list ? list->names : texts{}) {
        *end = static_cast<paramtype_UTF8String_list *>(calloc(1, sizeof **end));
        if (*end)
            (*end)->value = strdup(name.c_str());
        if (!*end || !(*end)->value) {
            paramtype_UTF8String_list_free(first);
            return nullptr;
        }
        end = &(*end)->next;
    }
    return first;
}

void morvdclient_destroy_transaction(morvdclient_transaction *transaction)
{
    if (!transaction)
        return;
    record_event("release");
    transactions--;
    delete transaction;
}

char *url_encode(const char *text)
{
    std::string encoded;
    for (const char *at = text; *at; at++) {
        char hex[4];
        if (isalnum(static_cast<unsigned char>(*at)) || strchr("-_~", *at))
            encoded += *at;
        else if (snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(*at)))
            encoded += hex;
    }
    return strdup(encoded.c_str());
}

// --- The way to the tree --------------------------------------------------------------------------------------------

int vrn_tsapi_init_with_vrnaaa_session(vrn_tsapi_handle **handle, ci_session *)
{
    record_event("login");
    if (session.login_result == 0)
        *handle = &the_handle;
    return session.login_result;
}

void vrn_tsapi_destroy(vrn_tsapi_handle *handle)
{
    if (handle)
        record_event("destroy");
}

int vrn_tsapi_commit(vrn_tsapi_handle *)
{
    record_event("commit");
    return session.commit_result;
}

morvdclient_connection *vrn_tsapi_get_connection(vrn_tsapi_handle *)
{
    return &the_connection;
}

int tsapi_make_session_ready(vrn_tsapi_handle *)
{
    record_event("ready");
    return count_down(now.ready);
}

int tsapi_make_session_idle(vrn_tsapi_handle *)
{
    record_event("idle");
    return count_down(now.idle);
}

namespace fakes {
vrn_tsapi_handle *fake_handle()
{
    return &the_handle;
}
} // namespace fakes
