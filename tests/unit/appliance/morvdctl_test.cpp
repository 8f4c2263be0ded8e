// What a person says at the desk, and what the daemon is told then.

#include <gmock/gmock.h>

#include "appliance/model/result.h"
#include "appliance/morvdctl/commands.h"

using testing::HasSubstr;

using word_list = std::vector<std::string>;

static desk_state small_state()
{
    desk_state state;
    EXPECT_TRUE(read_state({"clock\tdriven\t2024-01-01 00:00:00", "noise\ton",
                            "unit\t1\t1\t0\track1\tM\t5.0 A\tprotection\t", "phase\t1\t1\t1\tX\t\t5.0 A\tprotection\t",
                            "circuit\t1\t1\t1\tA1\t\t5.0 A\tfuse 20 A\tblown", "circuit\t1\t1\t2\tA2\tleft\t0.0 A\t\t",
                            "outlet\t1\t1\t1\t1\tweb 1\tON 310 W at 0.98\t\t", "outlet\t1\t1\t2\t2\t\tOFF 5 W at 1\t\t",
                            "sensor\t1\t1\t1\tTEMP1\taisle\t20.0 oC\t-40 to 125 oC\theld",
                            "unit\t2\t1\t0\tfar\t\t0.0 A\tlink\tadrift", "fault\trefuse info * 99 0 0"},
                           &state));
    return state;
}

// The request that the words come to, with blanks between its words, or the fault.
static std::string request_of(const word_list &words)
{
    desk_state state = small_state();
    size_t taken = 0;
    std::string fault, text;
    const desk_part *part = nullptr;
    word_list request;
    const command_row *row = find_command(words, &taken, &fault);
    if (!row || !make_request(*row, std::span(words).subspan(taken), state, &request, &part, &fault))
        return fault;
    for (const std::string &word : request)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// --- From the words to the request ----------------------------------------------------------------------------------

TEST(morvdctl, every_word_comes_to_its_request)
{
    const std::pair<word_list, const char *> requests[] = {
        {{"show"}, "desk show"},
        {{"load", "1", "2", "310"}, "desk load 1 1 2 310"},
        {{"load", "1", "2", "2.5A", "0.9"}, "desk load 1 1 2 2.5A 0.9"},
        {{"noise", "off"}, "desk noise off"},
        {{"outlet", "fail", "1", "2"}, "desk outlet 1.1.2 fail"},
        {{"outlet", "mend", "1", "2"}, "desk outlet 1.1.2 mend"},
        {{"outlet", "trip", "1", "2"}, "desk hwocp trip 1 1 outlet 2"},
        {{"phase", "trip", "1", "1"}, "desk hwocp trip 1 1 phase 1"},
        {{"unit", "trip", "2"}, "desk hwocp trip 2 1"},
        {{"phase", "overload", "1", "X"}, "desk phase 1.1.1 overload"},
        {{"circuit", "relieve", "1", "A2"}, "desk circuit 1.1.2 relieve"},
        {{"fuse", "blow", "1", "A1"}, "desk fuse blow 1 1 1"},
        {{"sensor", "set", "1", "1", "20.5"}, "desk sensor set 1 1 1 20.5"},
        {{"sensor", "pull", "1", "TEMP1"}, "desk sensor pull 1 1 1"},
        {{"link", "cut", "2"}, "desk link cut 2 1"},
        {{"fault", "refuse", "info", "power.*", "7", "2", "1"}, "desk fault refuse info power.* 7 2 1"},
        {{"fault", "list"}, "desk fault list"},
    };
    for (const auto &[words, request] : requests)
        EXPECT_EQ(request_of(words), request);
}

TEST(morvdctl, unit_goes_by_number_place_and_id)
{
    for (const char *unit : {"2", "2.1", "far"})
        EXPECT_EQ(request_of({"link", "break", unit}), "desk link break 2 1") << unit;
}

TEST(morvdctl, part_goes_by_number_system_name_and_name)
{
    for (const char *circuit : {"2", "A2", "left"})
        EXPECT_EQ(request_of({"fuse", "mend", "1", circuit}), "desk fuse mend 1 1 2") << circuit;
    EXPECT_EQ(request_of({"outlet", "fail", "1", "web 1"}), "desk outlet 1.1.1 fail");
}

TEST(morvdctl, time_goes_in_seconds_minutes_and_hours)
{
    const std::pair<const char *, const char *> times[] = {
        {"90", "90"},     {"90s", "90"},    {"5m", "300"}, {"1h", "3600"},
        {"1.5h", "5400"}, {"0.25", "0.25"}, {"0", "0"},    {"100000", "100000"},
    };
    for (const auto &[text, seconds] : times)
        EXPECT_EQ(request_of({"clock", "advance", text}), std::string("desk clock advance ") + seconds);
    for (const char *text : {"", "x", "1d", "-1", "100001", "28h", "1 h", "h", "nan", "inf"})
        EXPECT_EQ(request_of({"clock", "advance", text}),
                  "'" + std::string(text) + "' is no time to move on by; say 0 to 100000 seconds as 90, 5m or 1.5h");
}

// --- What is wrong, and what would be right -------------------------------------------------------------------------

TEST(morvdctl, words_that_are_wrong_are_told_with_what_would_be_right)
{
    const std::pair<word_list, const char *> faults[] = {
        {{"lod", "1", "2", "3"}, "unknown word 'lod', did you mean 'load'?"},
        {{"sensor", "pul", "1", "1"}, "unknown word 'pul' behind 'sensor', did you mean 'pull'?"},
        {{"sensor"}, "a word is missing behind 'sensor': 'set', 'pull' or 'plug'"},
        {{"fuse", "ignite"}, "unknown word 'ignite' behind 'fuse'; known are 'blow' and 'mend'"},
        {{"load", "1", "2"}, "too few words: load UNIT OUTLET LOAD [POWER_FACTOR]"},
        {{"load", "1", "2", "3", "1", "5"}, "too many words: load UNIT OUTLET LOAD [POWER_FACTOR]"},
        {{"fault", "refuse", "info"}, "too few words: fault refuse VERB PATH [CODE [COUNT [SKIP]]]"},
        {{"load", "3", "1", "5"}, "no unit '3'; there are 1 to 2, 'rack1' and 'far'"},
        {{"load", "0", "1", "5"}, "no unit '0'; there are 1 to 2, 'rack1' and 'far'"},
        {{"fuse", "blow", "1", "Q9"}, "unit 'rack1' has no circuit 'Q9'; it has 'A1' and 'A2'"},
        {{"sensor", "pull", "2", "1"}, "unit 'far' has no sensor '1'; it has none"},
    };
    for (const auto &[words, fault] : faults)
        EXPECT_EQ(request_of(words), fault);
}

TEST(morvdctl, no_word_at_all_is_told_with_all_that_there_are)
{
    EXPECT_EQ(request_of({}), "a word is missing: 'show', 'load', 'noise', 'outlet', 'phase', 'unit', 'circuit', "
                              "'fuse', 'sensor', 'link', 'clock', 'fault' or 'ask'");
}

TEST(morvdctl, many_parts_are_told_by_their_numbers)
{
    desk_state state = small_state();
    for (int number = 3; number <= 24; number++)
        state.parts.push_back({"outlet", 1, 1, number, "o", "", "", "", ""});
    std::string fault;
    EXPECT_EQ(find_part(state, state.parts[0], "outlet", "99", &fault), nullptr);
    EXPECT_EQ(fault, "unit 'rack1' has no outlet '99'; it has 1 to 24");
}

// The refusal of a daemon to words that the desk has parts for.
static std::string refusal_of(const word_list &words, int code)
{
    desk_state state = small_state();
    size_t taken = 0;
    std::string fault;
    const desk_part *part = nullptr;
    word_list request;
    const command_row *row = find_command(words, &taken, &fault);
    EXPECT_TRUE(row && make_request(*row, std::span(words).subspan(taken), state, &request, &part, &fault)) << fault;
    return refusal_text(*row, part, code, result_words(code));
}

TEST(morvdctl, refusal_says_what_would_be_right)
{
    EXPECT_EQ(refusal_of({"load", "1", "2", "-5"}, result_bad_value),
              "'load' was refused: bad value; LOAD is 0 to 100000 watts, as 310, or amperes, as 2.5A; POWER_FACTOR is "
              "0.5 to 1");
    EXPECT_EQ(refusal_of({"sensor", "set", "1", "1", "hot"}, result_bad_value),
              "'sensor set' was refused: bad value; 'TEMP1' takes -40 to 125 oC");
    EXPECT_THAT(refusal_of({"fault", "drop", "x", "y"}, result_bad_value),
                HasSubstr("; VERB and PATH are a verb and a path of the control tree, or '*'"));
    EXPECT_EQ(refusal_of({"fault", "drop", "x", "y"}, result_too_many).find("'fault drop' was refused: too many"), 0u);
}

TEST(morvdctl, refusal_says_what_the_part_lacks)
{
    EXPECT_EQ(refusal_of({"fuse", "blow", "1", "A2"}, result_no_such_part), "circuit 'A2' has no fuse");
    EXPECT_EQ(refusal_of({"unit", "trip", "2"}, result_no_such_part),
              "unit 'far' has no hardware over-current protection");
    EXPECT_EQ(refusal_of({"sensor", "set", "1", "1", "5"}, result_no_such_part), "sensor 'TEMP1' has no probe in it");
    EXPECT_EQ(refusal_of({"link", "break", "1"}, result_no_such_part),
              "unit 'rack1' has no link: it is the appliance's own unit");
}

// --- What is shown --------------------------------------------------------------------------------------------------

TEST(morvdctl, desk_is_shown_with_what_befell_it)
{
    EXPECT_EQ(state_text(small_state(), nullptr), "clock 2024-01-01 00:00:00 (driven)\n"
                                                  "noise on\n"
                                                  "unit 1  rack1  M  at 1.1  5.0 A\n"
                                                  "  phase   X                          5.0 A\n"
                                                  "  circuit A1                         5.0 A  [blown]\n"
                                                  "  circuit A2       left              0.0 A\n"
                                                  "  outlet  1        web 1             ON 310 W at 0.98\n"
                                                  "  outlet  2                          OFF 5 W at 1\n"
                                                  "  sensor  TEMP1    aisle             20.0 oC  [held]\n"
                                                  "unit 2  far  at 2.1  0.0 A  [adrift]\n"
                                                  "fault refuse info * 99 0 0\n");
}

TEST(morvdctl, one_unit_is_shown_alone_under_its_number)
{
    desk_state state = small_state();
    std::string fault;
    EXPECT_EQ(state_text(state, find_unit(state, "far", &fault)), "unit 2  far  at 2.1  0.0 A  [adrift]\n");
}

TEST(morvdctl, records_that_are_none_are_refused)
{
    for (const char *record :
         {"", "x", "clock\tdriven", "noise", "unit\t1\t1\t0\ta\tb\tc\td", "unit\tx\t1\t0\ta\tb\tc\td\te"}) {
        desk_state state;
        EXPECT_FALSE(read_state({record}, &state)) << record;
    }
}
