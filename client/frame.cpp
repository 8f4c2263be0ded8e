// The one body of all operations on the control tree: the exchange with the daemon, and around it the conversion
// between typed values and the texts of the wire.

#include "client/frame.h"

#include <cstring>

#include "dlog.h"
#include "morvdclient.h"
#include "vrn_tsapi.h"

static constexpr char tag_inner[] = "PSAPI";
static constexpr char tag_outer[] = "TSAPI";
static constexpr int level_failure = 4;
static constexpr int level_refusal = 5;
static constexpr int level_trace = 7;

// --- The path -------------------------------------------------------------------------------------------------------

// Encodes the star of each '*' of the path. The length of the path that they make, or 0 if one can't be had.
static size_t encode_stars(const char *path, const char *const *stars, owned_text *encoded)
{
    size_t length = strlen(path);
    int count = 0;
    for (const char *at = strchr(path, '*'); at; at = strchr(at + 1, '*'), count++) {
        encoded[count].reset(stars[count] ? url_encode(stars[count]) : nullptr);
        if (!encoded[count])
            return 0;
        length += strlen(encoded[count].get()) - 1;
    }
    return length;
}

char *psapi_path(const char *path, const char *const *stars)
{
    owned_text encoded[tree_stars_max];
    size_t length = encode_stars(path, stars, encoded);
    char *built = length ? static_cast<char *>(malloc(length + 1)) : nullptr;
    if (!built)
        return nullptr;

    char *end = built;
    for (int count = 0;; count++) {
        const char *star = strchrnul(path, '*');
        end = static_cast<char *>(mempcpy(end, path, static_cast<size_t>(star - path)));
        if (!*star)
            break;
        end = stpcpy(end, encoded[count].get());
        path = star + 1;
    }
    *end = '\0';
    return built;
}

// --- The exchange ---------------------------------------------------------------------------------------------------

// A text for the log, which a failed conversion may have left absent.
static const char *shown(const char *text)
{
    return text ? text : "(null)";
}

static void log_stars(const operation &op, const char *const *stars)
{
    if (op.stars == 1)
        __dlog_printf(level_trace, tag_inner, "   star0=\"%s\"", shown(stars[0]));
    else if (op.stars == 2)
        __dlog_printf(level_trace, tag_inner, "   star0=\"%s\", star1=\"%s\"", shown(stars[0]), shown(stars[1]));
    else if (op.stars == 3)
        __dlog_printf(level_trace, tag_inner, "   star0=\"%s\", star1=\"%s\", star2=\"%s\"", shown(stars[0]),
                      shown(stars[1]), shown(stars[2]));
}

// Null also for a request that lacks a text: a half request must not reach the daemon.
static morvdclient_transaction *send(tree_verb verb, morvdclient_connection *connection, const char *path,
                                     const char *const *words)
{
    switch (verb) {
    case tree_verb::get:
        return morvdclient_send_get(connection, path);
    case tree_verb::set:
        return words[0] ? morvdclient_send_set(connection, path, words[0]) : nullptr;
    case tree_verb::info:
        return morvdclient_send_info(connection, path, words);
    case tree_verb::admin:
        return morvdclient_send_admin(connection, path, words);
    case tree_verb::list:
        return morvdclient_send_list(connection, path);
    case tree_verb::mlist:
        return morvdclient_send_mlist(connection, path);
    case tree_verb::add:
        return words[0] ? morvdclient_send_add(connection, path, words[0]) : nullptr;
    case tree_verb::del:
        return words[0] ? morvdclient_send_del(connection, path, words[0]) : nullptr;
    case tree_verb::move:
        return words[0] && words[1] ? morvdclient_send_move(connection, path, words[0], words[1]) : nullptr;
    }
    return nullptr;
}

// A path that could not be built is a request that could not be sent, with the same code and the same words in the log.
static morvdclient_transaction *send_request(const operation &op, vrn_tsapi_handle *handle, const char *const *stars,
                                             const char *const *words)
{
    owned_text built(op.stars ? psapi_path(op.path, stars) : nullptr);
    const char *path = op.stars ? built.get() : op.path;
    __dlog_printf(level_trace, tag_inner, "Request to MORVD will use path: \"%s\".", shown(path));
    return path ? send(op.verb, vrn_tsapi_get_connection(handle), path, words) : nullptr;
}

// Copies the answer out. A value that can't be copied for want of memory must not pass for an absent one.
static int take_answer(tree_verb verb, morvdclient_transaction *transaction, tree_result result)
{
    if (morvdclient_transaction_get_result_code(transaction)) {
        __dlog_printf(level_refusal, tag_inner, "An error was encountered during the PSAPI request.");
        return tree_refused;
    }
    if (verb == tree_verb::get || verb == tree_verb::info) {
        const char *value = morvdclient_transaction_get_value(transaction);
        char *copy = value ? strdup(value) : nullptr;
        if (value && !copy)
            return tree_not_convertible;
        *result.text = copy;
    } else if (verb == tree_verb::list || verb == tree_verb::mlist) {
        *result.texts = morvdclient_list_to_UTF8String_list(morvdclient_transaction_get_list(transaction));
    }
    return 0;
}

int psapi_call(const operation &op, vrn_tsapi_handle *handle, const char *const *stars, const char *const *words,
               tree_result result)
{
    __dlog_printf(level_trace, tag_inner, "Invoked PSAPI function \"vrn_psapi_%s\" for MORVD path \"%s\".", op.name,
                  op.path);
    log_stars(op, stars);
    if (int unready = tsapi_make_session_ready(handle)) {
        __dlog_printf(level_failure, tag_inner, "Unable to make TSAPI session ready for use.");
        return unready;
    }

    morvdclient_transaction *transaction = send_request(op, handle, stars, words);
    if (!transaction) {
        // Intended: the session is not made idle here (a lost connection is made anew by the next make-ready).
        __dlog_printf(level_failure, tag_inner, "Unable to send request to MORVD.");
        return tree_not_sent;
    }

    int code = take_answer(op.verb, transaction, result);
    if (tsapi_make_session_idle(handle))
        __dlog_printf(level_failure, tag_inner, "Unable to make TSAPI session idle.");
    __dlog_printf(level_trace, tag_inner, "PSAPI function completed %ssuccessfully.", code ? "un" : "");
    morvdclient_destroy_transaction(transaction);
    return code;
}

// --- Typed values ---------------------------------------------------------------------------------------------------

// New heap text; null without memory, and for a configuration method without a word.
static char *value_to_text(tree_type type, tree_value value)
{
    switch (type) {
    case tree_type::number:
        return paramtype_int_fromC(value.number);
    case tree_type::boolean:
        return paramtype_boolean_fromC(value.number);
    case tree_type::ipv4:
        return paramtype_ipv4Address_fromC(value.ipv4);
    case tree_type::ipv6:
        return paramtype_ipv6Address_fromC(value.ipv6);
    case tree_type::ip:
        return paramtype_ipAddress_fromC(value.ip);
    case tree_type::method4:
        return paramtype_interface4Config_fromC(value.number);
    case tree_type::method6:
        return paramtype_interface6Config_fromC(value.number);
    default:
        return nullptr;
    }
}

// Non-zero on success, as the conversions answer.
static int value_from_text(tree_type type, const char *text, tree_result result)
{
    switch (type) {
    case tree_type::number:
        return paramtype_int_toC(text, result.number);
    case tree_type::boolean:
        return paramtype_boolean_toC(text, result.number);
    case tree_type::ipv4:
        return paramtype_ipv4Address_toC(text, result.ipv4);
    case tree_type::ipv6:
        return paramtype_ipv6Address_toC(text, result.ipv6);
    case tree_type::ip:
        return paramtype_ipAddress_toC(text, result.ip);
    case tree_type::method4:
        return paramtype_interface4Config_toC(text, result.number);
    case tree_type::method6:
        return paramtype_interface6Config_toC(text, result.number);
    default:
        return 0;
    }
}

// Calls the inner half with texts made from the stars and the value. A text that could not be made stays null, and the
// inner half does not send such a request.
static int call_with_texts(const operation &op, vrn_tsapi_handle *handle, const tree_value *stars, tree_value input,
                           tree_result result)
{
    owned_text made[tree_stars_max];
    const char *texts[tree_stars_max] = {};
    for (unsigned i = 0; i < op.stars; i++) {
        bool is_int = op.int_stars & 1u << i;
        if (is_int)
            made[i].reset(paramtype_int_fromC(stars[i].number));
        texts[i] = is_int ? made[i].get() : stars[i].text;
    }

    owned_text made_value;
    const char *value[1];
    const char *const *words = input.words;
    if (op.verb == tree_verb::set || op.verb == tree_verb::add || op.verb == tree_verb::del) {
        if (op.type != tree_type::text)
            made_value.reset(value_to_text(op.type, input));
        value[0] = op.type == tree_type::text ? input.text : made_value.get();
        words = value;
    }

    __dlog_printf(level_trace, tag_outer, "Passing request to the PSAPI.");
    return psapi_call(op, handle, texts, words, result);
}

static int read_value(const operation &op, vrn_tsapi_handle *handle, const tree_value *stars, tree_value input,
                      tree_result result)
{
    char *text = nullptr;
    if (int code = call_with_texts(op, handle, stars, input, &text))
        return code;
    if (op.type == tree_type::text) {
        *result.text = text;
        return 0;
    }
    int converted = value_from_text(op.type, text, result);
    free(text);
    return converted ? 0 : tree_not_convertible;
}

static int read_list(const operation &op, vrn_tsapi_handle *handle, const tree_value *stars, tree_result result)
{
    paramtype_UTF8String_list *texts = nullptr;
    if (int code = call_with_texts(op, handle, stars, {}, &texts))
        return code;
    if (op.type == tree_type::texts) {
        *result.texts = texts;
        return 0;
    }
    int failed = paramtype_int_list_toC(texts, result.numbers); // zero is success, unlike the scalar conversions
    paramtype_UTF8String_list_free(texts);
    return failed ? tree_not_convertible : 0;
}

int tsapi_call(const operation &op, vrn_tsapi_handle *handle, const tree_value *stars, tree_value input,
               tree_result result)
{
    __dlog_printf(level_trace, tag_outer, "Invoked TSAPI function \"vrn_tsapi_%s\" for MORVD path \"%s\".", op.name,
                  op.path);
    int code;
    if (op.verb == tree_verb::list || op.verb == tree_verb::mlist)
        code = read_list(op, handle, stars, result);
    else if (op.verb == tree_verb::get || op.verb == tree_verb::info)
        code = read_value(op, handle, stars, input, result);
    else
        code = call_with_texts(op, handle, stars, input, {});
    __dlog_printf(level_trace, tag_outer, "TSAPI function completed %ssuccessfully.", code ? "un" : "");
    return code;
}
