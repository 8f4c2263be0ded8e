// Requests over the daemon's socket, by the wire's own library.

#include "appliance/morvdctl/connection.h"

#include <charconv>
#include <csignal>
#include <hiredis/hiredis.h>

static constexpr timeval longest_wait = {.tv_sec = 30, .tv_usec = 0};

void desk_connection::release::operator()(redisContext *context) const
{
    redisFree(context);
}

// "ERR 15 no such part of a unit"
static void read_refusal(std::string_view text, desk_answer *answer)
{
    size_t start = text.find(' ') + 1;
    auto [end, error] = std::from_chars(text.data() + start, text.data() + text.size(), answer->code);
    if (error != std::errc() || answer->code == 0)
        answer->code = -1;
    answer->words = end < text.data() + text.size() ? std::string(end + 1, text.data() + text.size()) : text;
}

bool desk_connection::ask(const std::vector<std::string> &words, desk_answer *answer, std::string *fault)
{
    std::vector<const char *> texts;
    std::vector<size_t> sizes;
    for (const std::string &word : words) {
        texts.push_back(word.data());
        sizes.push_back(word.size());
    }
    std::unique_ptr<redisReply, void (*)(void *)> reply(
        static_cast<redisReply *>(
            redisCommandArgv(context_.get(), static_cast<int>(texts.size()), texts.data(), sizes.data())),
        freeReplyObject);
    *answer = {};
    if (!reply) {
        *fault = "the daemon does not answer: " + std::string(context_->errstr);
        return false;
    }
    if (reply->type == REDIS_REPLY_ERROR)
        read_refusal({reply->str, reply->len}, answer);
    if (reply->type == REDIS_REPLY_STRING)
        answer->items.emplace_back(reply->str, reply->len);
    for (size_t i = 0; i < reply->elements; i++)
        answer->items.emplace_back(reply->element[i]->str, reply->element[i]->len);
    return true;
}

bool desk_connection::open(const std::string &socket, std::string *fault)
{
    signal(SIGPIPE, SIG_IGN);
    context_.reset(redisConnectUnixWithTimeout(socket.c_str(), longest_wait));
    if (!context_ || context_->err) {
        *fault = "no desk at '" + socket + "': " + (context_ ? context_->errstr : "out of memory") +
                 "; start one with script/run, or name its socket with -s";
        return false;
    }
    redisSetTimeout(context_.get(), longest_wait);
    desk_answer answer;
    if (!ask({"login", "root", "1"}, &answer, fault))
        return false;
    if (answer.code)
        *fault = "the desk at '" + socket + "' lets only root and the user who started it in";
    return answer.code == 0;
}
