// Words in messages.

#include "appliance/morvd/words.h"

#include <gtest/gtest.h>

static constexpr std::string_view known[] = {"load", "outlet", "sensor"};

TEST(words, list_has_another_word_before_the_last)
{
    EXPECT_EQ(quoted_list({}), "");
    EXPECT_EQ(quoted_list(known_words(known).first(1)), "'load'");
    EXPECT_EQ(quoted_list(known_words(known).first(2)), "'load' or 'outlet'");
    EXPECT_EQ(quoted_list(known, "and"), "'load', 'outlet' and 'sensor'");
}

TEST(words, near_word_is_found)
{
    EXPECT_EQ(nearest("laod", known), "");
    EXPECT_EQ(nearest("lod", known), "load");
    EXPECT_EQ(nearest("loads", known), "load");
    EXPECT_EQ(nearest("outlts", known), "outlet");
    EXPECT_EQ(nearest("snsor", known), "sensor");
}

TEST(words, word_that_is_begun_is_found)
{
    EXPECT_EQ(nearest("sen", known), "sensor");
    EXPECT_EQ(nearest("se", known), "");
}

TEST(words, word_that_is_like_none_finds_none)
{
    for (const char *word : {"", "x", "fuse", "or", "unbelievable"})
        EXPECT_EQ(nearest(word, known), "") << word;
    EXPECT_EQ(nearest(std::string(100'000, 'l'), known), "");
}

TEST(words, number_has_no_digits_that_say_nothing)
{
    EXPECT_EQ(number_text(5), "5");
    EXPECT_EQ(number_text(0.5), "0.5");
    EXPECT_EQ(number_text(2147483647), "2147483647");
}
