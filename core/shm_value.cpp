// The text of one electrical value of the segment: which of the fixed precisions or vocabularies it takes.

#include "core/shm_value.h"

#include <array>
#include <bit>
#include <cstdio>
#include <iterator>

#include "core/log.h"
#include "core/render.h"

static constexpr const char *kind_words[] = {"UNDEFINED", "ESTIMATED", "MEASURED"};
static constexpr const char *fuse_words[] = {"N/A", "OK", "BLOWN"};

// Where in shm_values the value of a mask's one bit stands; behind the last where it names none.
static constexpr auto place_of_bit = [] {
    std::array<uint8_t, 32> places;
    places.fill(std::size(shm_values));
    for (size_t i = 0; i < std::size(shm_values); i++)
        places[static_cast<size_t>(std::countr_zero(shm_values[i].mask))] = static_cast<uint8_t>(i);
    return places;
}();

static const uint8_t *place(const elecmon_block &block, const shm_value &value)
{
    return reinterpret_cast<const uint8_t *>(&block) + value.offset;
}

// The value in its stored type, read exactly once: the daemon may be writing it.
template <class Stored> static Stored stored(const elecmon_block &block, const shm_value &value)
{
    return *reinterpret_cast<const volatile Stored *>(place(block, value));
}

// Apart from the rest since a template argument loses the alignment that the type carries.
static int64_t stored_energy(const elecmon_block &block, const shm_value &value)
{
    return *reinterpret_cast<const volatile shm_int64 *>(place(block, value));
}

// The code's word, null for a code outside the words.
template <size_t count> static const char *word_of(const char *const (&words)[count], int code)
{
    return code >= 0 && static_cast<size_t>(code) < count ? words[code] : nullptr;
}

static void log_voltage_kind(int code)
{
    // Intended: logged at the level of failures, the middle word misspelt (log readers look for these lines).
    static constexpr const char *kinds[] = {"undefined", "estimaed", "measured"};
    if (code >= 0 && static_cast<size_t>(code) < std::size(kinds))
        log_remark("%s voltage type. returning %s", kinds[code], kind_words[code]);
    else
        log_failure("unknown voltage type");
}

static const char *kind_word(const elecmon_block &block, const shm_value &value)
{
    int code = stored<int32_t>(block, value);
    if (value.mask == shm_mask_voltage_type)
        log_voltage_kind(code);
    return word_of(kind_words, code);
}

// In the buffer where it has to be made.
static const char *value_text(const elecmon_block &block, const shm_value &value, char *buffer)
{
    switch (value.rendering) {
    case shm_as_tenths:
        return tenths_str(buffer, stored<int32_t>(block, value));
    case shm_as_hundredths:
        snprintf(buffer, render_buffer_size, "%.2f", stored<int32_t>(block, value) / 100.0);
        return buffer;
    case shm_as_kind:
        return kind_word(block, value);
    case shm_as_energy:
        snprintf(buffer, render_buffer_size, "%.3f", static_cast<double>(stored_energy(block, value)) / 36000000.0);
        return buffer;
    case shm_as_time:
        return date_str(buffer, stored<int32_t>(block, value));
    case shm_as_tripped:
        return stored<uint8_t>(block, value) ? "tripped" : "not tripped";
    case shm_as_fuse:
        return word_of(fuse_words, stored<uint8_t>(block, value));
    }
    return nullptr;
}

const char *shm_value_text(const elecmon_block &block, uint32_t mask, char *buffer)
{
    if (!std::has_single_bit(mask))
        return nullptr;
    const size_t place = place_of_bit[static_cast<size_t>(std::countr_zero(mask))];
    return place < std::size(shm_values) ? value_text(block, shm_values[place], buffer) : nullptr;
}
