// Cuts what a client sends into requests: arrays of bulk strings, and nothing else, however the bytes come in. Bounded,
// so that nothing a client announces costs memory before it is there, and little when it is.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct redisReader;

inline constexpr size_t most_request_words = 64;
inline constexpr size_t most_request_bytes = 65536; // of one request's words together

class request_reader {
public:
    request_reader();
    request_reader(request_reader &&) = default;
    request_reader &operator=(request_reader &&) = default;

    // Takes bytes in. False without memory, and behind a broken request.
    bool feed(std::string_view bytes);

    enum outcome { complete, incomplete, broken };

    // The next whole request into `words`. Behind a broken one nothing can be read any more.
    outcome next(std::vector<std::string> *words);

private:
    struct release {
        void operator()(redisReader *reader) const;
    };
    std::unique_ptr<redisReader, release> reader_;
};
