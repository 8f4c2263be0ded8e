// The table of words, and the way from a row to the request.

#include "appliance/morvdctl/commands.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "appliance/model/result.h"
#include "appliance/morvd/words.h"

static constexpr std::string_view load_values =
    "LOAD is 0 to 100000 watts, as 310, or amperes, as 2.5A; POWER_FACTOR is 0.5 to 1";
static constexpr std::string_view fault_values =
    "VERB and PATH are a verb and a path of the control tree, or '*'; the numbers are whole, CODE from 1 and "
    "MILLISECONDS to 600000";
static constexpr std::string_view no_protection = "no hardware over-current protection";
static constexpr std::string_view no_link = "no link: it is the appliance's own unit";

static constexpr command_row command_rows[] = {
    {"show", "", "UNIT", "show", "what stands on the desk, or the unit with its parts", "", ""},
    {"load", "UNIT OUTLET LOAD", "POWER_FACTOR", "load %u %n %*", "hang another load on the outlet", load_values, ""},
    {"noise on", "", "", "noise on", "loads, voltages and sensors waver", "", ""},
    {"noise off", "", "", "noise off", "they stand still", "", ""},
    {"outlet fail", "UNIT OUTLET", "", "outlet %p fail", "its relay moves no more", "", ""},
    {"outlet mend", "UNIT OUTLET", "", "outlet %p mend", "its relay moves again", "", ""},
    {"outlet trip", "UNIT OUTLET", "", "hwocp trip %u outlet %n", "its protection trips", "", no_protection},
    {"phase trip", "UNIT PHASE", "", "hwocp trip %u phase %n", "its protection trips", "", no_protection},
    {"unit trip", "UNIT", "", "hwocp trip %u", "its protection trips", "", no_protection},
    {"phase overload", "UNIT PHASE", "", "phase %p overload", "it counts as overloaded", "", ""},
    {"phase relieve", "UNIT PHASE", "", "phase %p relieve", "it no longer does", "", ""},
    {"circuit overload", "UNIT CIRCUIT", "", "circuit %p overload", "it counts as overloaded", "", ""},
    {"circuit relieve", "UNIT CIRCUIT", "", "circuit %p relieve", "it no longer does", "", ""},
    {"fuse blow", "UNIT CIRCUIT", "", "fuse blow %u %n", "the circuit's fuse blows", "", "no fuse"},
    {"fuse mend", "UNIT CIRCUIT", "", "fuse mend %u %n", "it is put in anew", "", "no fuse"},
    {"sensor set", "UNIT SENSOR VALUE", "", "sensor set %u %n %*", "it measures that from now on", "",
     "no probe in it"},
    {"sensor pull", "UNIT SENSOR", "", "sensor pull %u %n", "its probe is pulled out", "", ""},
    {"sensor plug", "UNIT SENSOR", "", "sensor plug %u %n", "its probe is plugged in", "", ""},
    {"link break", "UNIT", "", "link break %u", "the unit drops off the chain", "", no_link},
    {"link cut", "UNIT", "", "link cut %u", "the chain ends before the unit", "", no_link},
    {"link mend", "UNIT", "", "link mend %u", "the unit, and what is behind it, is back", "", no_link},
    {"clock advance", "TIME", "", "clock advance %*", "time moves on by so much", "", ""},
    {"fault refuse", "VERB PATH", "CODE COUNT SKIP", "fault refuse %*", "the daemon refuses requests", fault_values,
     ""},
    {"fault drop", "VERB PATH", "COUNT SKIP", "fault drop %*", "it hangs up instead of an answer", fault_values, ""},
    {"fault delay", "VERB PATH MILLISECONDS", "COUNT SKIP", "fault delay %*", "it answers late", fault_values, ""},
    {"fault list", "", "", "fault list", "the faults that stand", "", ""},
    {"fault clear", "", "", "fault clear", "they are gone", "", ""},
    {"ask", "VERB PATH", "ARG ARG", "%*", "one request on the control tree, as any program makes it", "", ""},
};

std::span<const command_row> all_commands()
{
    return command_rows;
}

// --- Finding the row ------------------------------------------------------------------------------------------------

static std::vector<std::string_view> split(std::string_view text)
{
    std::vector<std::string_view> words;
    while (!text.empty()) {
        size_t end = text.find(' ');
        words.push_back(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return words;
}

std::string command_form(const command_row &row)
{
    std::string text(row.words);
    if (!row.args.empty())
        text.append(" ").append(row.args);
    std::vector<std::string_view> optional = split(row.optional_args);
    for (std::string_view arg : optional)
        text.append(" [").append(arg);
    return text.append(optional.size(), ']');
}

// The words that can stand behind the first ones given, each once.
static std::vector<std::string_view> words_behind(std::span<const std::string> given)
{
    std::vector<std::string_view> found;
    for (const command_row &row : command_rows) {
        std::vector<std::string_view> words = split(row.words);
        bool fits = words.size() > given.size() && std::equal(given.begin(), given.end(), words.begin());
        if (fits && std::ranges::find(found, words[given.size()]) == found.end())
            found.push_back(words[given.size()]);
    }
    return found;
}

// What is wrong with words that no row begins with.
static std::string unknown_text(std::span<const std::string> words)
{
    size_t known = words.empty() || words_behind(words.first(1)).empty() ? 0 : 1;
    std::vector<std::string_view> wanted = words_behind(words.first(known));
    std::string where = known ? " behind " + quoted(words[0]) : "";
    if (words.size() <= known)
        return "a word is missing" + where + ": " + quoted_list(wanted);
    std::string_view meant = nearest(words[known], wanted);
    return "unknown word " + quoted(words[known]) + where +
           (meant.empty() ? "; known are " + quoted_list(wanted, "and") : ", did you mean " + quoted(meant) + "?");
}

const command_row *find_command(std::span<const std::string> words, size_t *taken, std::string *fault)
{
    for (const command_row &row : command_rows) {
        std::vector<std::string_view> own = split(row.words);
        if (words.size() < own.size() || !std::equal(own.begin(), own.end(), words.begin()))
            continue;
        size_t args = words.size() - own.size(), least = split(row.args).size();
        *taken = own.size();
        if (args >= least && args <= least + split(row.optional_args).size())
            return &row;
        *fault = (args < least ? "too few words: " : "too many words: ") + command_form(row);
        return nullptr;
    }
    *fault = unknown_text(words);
    return nullptr;
}

// --- From the row to the request ------------------------------------------------------------------------------------

// "90", "5m", "1.5h": the seconds, as the daemon reads them. Empty for anything else and what is too far.
static std::string seconds_of(std::string_view text)
{
    static constexpr double longest = 100'000;
    double number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    std::string_view unit(end, text.data() + text.size());
    double seconds = unit.empty() || unit == "s" ? 1 : unit == "m" ? 60 : unit == "h" ? 3600 : 0;
    number *= seconds;
    if (error != std::errc() || seconds == 0 || !(number >= 0 && number <= longest))
        return "";
    return number_text(std::round(number * 1000) / 1000);
}

static std::string kind_of(std::string_view arg)
{
    for (std::string_view kind : {"PHASE", "CIRCUIT", "OUTLET", "SENSOR"})
        if (arg == kind) {
            std::string word(kind);
            std::ranges::transform(word, word.begin(), [](char c) { return static_cast<char>(c - 'A' + 'a'); });
            return word;
        }
    return "";
}

// Puts what was found in the place of the marks in the row's words.
static std::vector<std::string> fill_in(const command_row &row, const desk_part *part,
                                        std::span<const std::string> others)
{
    std::vector<std::string> request;
    if (row.words != "ask") // whose words are no desk's
        request = {"desk"};
    std::string port = part ? std::to_string(part->port) : "", pdu = part ? std::to_string(part->pdu) : "";
    std::string number = part ? std::to_string(part->number) : "";
    for (std::string_view word : split(row.says)) {
        if (word == "%u")
            request.insert(request.end(), {port, pdu});
        else if (word == "%n")
            request.push_back(number);
        else if (word == "%p")
            request.push_back(port + "." + pdu + "." + number);
        else if (word == "%*")
            request.insert(request.end(), others.begin(), others.end());
        else
            request.emplace_back(word);
    }
    return request;
}

bool make_request(const command_row &row, std::span<const std::string> args, const desk_state &state,
                  std::vector<std::string> *request, const desk_part **part, std::string *fault)
{
    std::vector<std::string_view> names = split(row.args), further = split(row.optional_args);
    names.insert(names.end(), further.begin(), further.end());
    std::vector<std::string> others;
    *part = nullptr;
    for (size_t i = 0; i < args.size(); i++) {
        std::string kind = kind_of(names[i]);
        if (names[i] == "UNIT")
            *part = find_unit(state, args[i], fault);
        else if (!kind.empty())
            *part = find_part(state, **part, kind, args[i], fault);
        else
            others.push_back(names[i] == "TIME" ? seconds_of(args[i]) : args[i]);
        if ((names[i] == "UNIT" || !kind.empty()) && !*part)
            return false;
        if (names[i] == "TIME" && others.back().empty()) {
            *fault = quoted(args[i]) + " is no time to move on by; say 0 to 100000 seconds as 90, 5m or 1.5h";
            return false;
        }
    }
    *request = fill_in(row, *part, others);
    return true;
}

std::string refusal_text(const command_row &row, const desk_part *part, int code, std::string_view words)
{
    if (code == result_no_such_part && part && !row.lacks.empty())
        return part->kind + " " + quoted(part->sys_name) + " has " + std::string(row.lacks);
    std::string text = quoted(row.words) + " was refused: " + std::string(words);
    if (code == result_bad_value && part && part->kind == "sensor")
        return text + "; " + quoted(part->sys_name) + " takes " + part->takes;
    return row.right.empty() ? text : text + "; " + std::string(row.right);
}
