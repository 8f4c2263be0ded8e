// Words that stand in a list of their own, and how a person who gave another one is told.
#pragma once

#include <span>
#include <string>
#include <string_view>

using known_words = std::span<const std::string_view>;

// The word in quotes, as it stands in a message.
std::string quoted(std::string_view word);

// A number as it stands in a message: without digits that say nothing.
std::string number_text(double number);

// All of them in quotes: "'delta' or 'wye'", and "'a', 'b' and 'c'" with another word before the last.
std::string quoted_list(known_words words, std::string_view before_last = "or");

// The one that a person who typed `word` is likely to have meant: a slip of the fingers away, or begun so. Empty where
// there is none.
std::string_view nearest(std::string_view word, known_words words);
