// The conversions from text, the way back from what the segment's readers render.

#include "appliance/ztd_ng/values.h"

#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>
#include <span>
#include <string_view>
#include <strings.h>

#include "appliance/model/status.h"

static constexpr const char *kind_texts[] = {"UNDEFINED", "ESTIMATED", "MEASURED"};
static constexpr const char *fuse_texts[] = {"N/A", "OK", "BLOWN"};

static constexpr double energy_scale = 36000000;

// The number that `text` is, all of it, times `scale`; none where that leaves the range of `Integer`.
template <class Integer> static std::optional<Integer> scaled(const std::string &text, double scale)
{
    double number = 0;
    const char *end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || !std::isfinite(number))
        return std::nullopt;

    const double rounded = std::round(number * scale);
    // The upper bound itself may not be a double; the power of two behind it is.
    const double bound = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
    if (rounded >= bound || rounded < -bound)
        return std::nullopt;
    return static_cast<Integer>(rounded);
}

// The first place of a word, whose case is not looked at.
static std::optional<int32_t> position(std::span<const char *const> words, const std::string &text)
{
    for (size_t i = 0; i < words.size(); i++)
        if (strcasecmp(words[i], text.c_str()) == 0)
            return static_cast<int32_t>(i);
    return std::nullopt;
}

static std::optional<int64_t> stored_time(const std::string &text)
{
    if (text.empty())
        return 0;

    tm local{};
    local.tm_isdst = -1;
    const char *stop = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &local);
    if (stop == nullptr || *stop != '\0')
        return scaled<int32_t>(text, 1);
    const time_t seconds = mktime(&local);
    if (seconds < 0 || seconds > std::numeric_limits<int32_t>::max())
        return std::nullopt;
    return seconds;
}

std::optional<int64_t> stored_value(shm_rendering rendering, const std::string &text)
{
    switch (rendering) {
    case shm_as_tenths:
        return scaled<int32_t>(text, 10);
    case shm_as_hundredths:
        return scaled<int32_t>(text, 100);
    case shm_as_energy:
        return scaled<int64_t>(text, energy_scale);
    case shm_as_kind:
        return position(kind_texts, text);
    case shm_as_time:
        return stored_time(text);
    case shm_as_tripped:
        return text == "tripped"; // any other word of the tree means that it is not
    case shm_as_fuse:
        return position(fuse_texts, text);
    }
    return std::nullopt;
}

// `word_of` answers the word of code 0 for every code outside the vocabulary, so that the search ends there.
static std::optional<int32_t> code_of(const std::string &text, std::string_view (*word_of)(int code))
{
    const std::string_view undefined = word_of(0);
    if (text == undefined)
        return 0;
    for (int32_t code = 1; word_of(code) != undefined; code++)
        if (word_of(code) == text)
            return code;
    return std::nullopt;
}

std::optional<int32_t> stored_interval(const std::string &text)
{
    return scaled<int32_t>(text, 10);
}

std::optional<int32_t> ctrl_status_code(const std::string &text)
{
    return code_of(text, ctrl_status_word);
}

std::optional<int32_t> mod_status_code(const std::string &text)
{
    return code_of(text, mod_status_word);
}

std::optional<int32_t> stored_model(const std::string &text)
{
    const std::optional<int32_t> code = scaled<int32_t>(text, 1);
    return code && *code >= 0 && *code <= std::numeric_limits<uint8_t>::max() ? code : std::nullopt;
}
