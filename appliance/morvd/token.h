// Tokens: what a session shows to be taken for logged in on a new connection. A token carries its user and session and
// a tag that only the holder of the key can make; the key outlives the daemon in a file, and so does every token.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct token_key {
    uint64_t half[2];
};

// Reads the key at `path`, or makes a new one there, readable for its owner alone; a file that anybody else could have
// read or written is replaced. False, with the cause in `fault`, where neither can be done.
bool load_token_key(const std::string &path, token_key *key, std::string *fault);

// The tag of a text: SipHash-2-4.
uint64_t tag_of(const token_key &key, std::string_view text);

std::string make_token(const token_key &key, std::string_view user, std::string_view sid);

// Whether the token was made with this key; then `user` is the one that it was made for.
bool read_token(const token_key &key, std::string_view token, std::string *user);
