// The reader of requests: the RESP parser of the wire's library, with objects of our own that refuse what is no
// request.

#include "appliance/morvd/request_reader.h"

#include <hiredis/read.h>
#include <new>

// A request while it is being read. An object of null makes the parser give up the whole input.
struct partial_request {
    std::vector<std::string> words;
    size_t bytes = 0;
};

static void *create_array(const redisReadTask *task, int count)
{
    bool nested = task->parent;
    if (nested || count < 1 || static_cast<size_t>(count) > most_request_words)
        return nullptr;
    return new (std::nothrow) partial_request;
}

static void *create_string(const redisReadTask *task, char *text, size_t size)
{
    if (!task->parent || task->type != REDIS_REPLY_STRING)
        return nullptr;
    auto *request = static_cast<partial_request *>(task->parent->obj);
    request->bytes += size;
    if (request->bytes > most_request_bytes)
        return nullptr;
    try {
        request->words.emplace_back(text, size);
    } catch (const std::bad_alloc &) { // must not fly through the parser
        return nullptr;
    }
    return request;
}

static void *create_integer(const redisReadTask *, long long)
{
    return nullptr;
}

static void *create_nil(const redisReadTask *)
{
    return nullptr;
}

static void free_request(void *request)
{
    delete static_cast<partial_request *>(request);
}

static redisReplyObjectFunctions functions = {create_string, create_array, create_integer, create_nil, free_request};

void request_reader::release::operator()(redisReader *reader) const
{
    redisReaderFree(reader);
}

request_reader::request_reader() : reader_(redisReaderCreateWithFunctions(&functions))
{
    if (!reader_)
        throw std::bad_alloc();
}

bool request_reader::feed(std::string_view bytes)
{
    return redisReaderFeed(reader_.get(), bytes.data(), bytes.size()) == REDIS_OK;
}

request_reader::outcome request_reader::next(std::vector<std::string> *words)
{
    void *reply = nullptr;
    if (redisReaderGetReply(reader_.get(), &reply) != REDIS_OK)
        return broken;
    if (!reply) // a word that never ends would otherwise grow in the parser's own buffer
        return reader_->len - reader_->pos > most_request_bytes ? broken : incomplete;
    std::unique_ptr<partial_request> request(static_cast<partial_request *>(reply));
    *words = std::move(request->words);
    return complete;
}
