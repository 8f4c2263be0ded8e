// A person's way to the words of the desk: one connection, logged in.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct redisContext;

// What the daemon said: items of a list, a single value as one, or a refusal with its code (0: none) and words.
struct desk_answer {
    std::vector<std::string> items;
    int code = 0;
    std::string words;
};

class desk_connection {
public:
    // Connects to the socket and logs in. False with the cause and what would help in `fault`.
    bool open(const std::string &socket, std::string *fault);

    // One request. False, with the cause in `fault`, where no answer came.
    bool ask(const std::vector<std::string> &words, desk_answer *answer, std::string *fault);

private:
    struct release {
        void operator()(redisContext *context) const;
    };
    std::unique_ptr<redisContext, release> context_;
};
