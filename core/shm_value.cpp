// The text of one electrical value of the segment: which of the fixed precisions or vocabularies it takes.

#include "core/shm_value.h"

#include <cstring>
#include <iterator>

#include "core/log.h"
#include "core/render.h"

static constexpr const char *kind_words[] = {"UNDEFINED", "ESTIMATED", "MEASURED"};
static constexpr const char *fuse_words[] = {"N/A", "OK", "BLOWN"};

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

// The code's word as new text, null for a code outside the words.
template <size_t count> static char *new_word(const char *const (&words)[count], int code)
{
    return code >= 0 && static_cast<size_t>(code) < count ? strdup(words[code]) : nullptr;
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

static char *kind_text(const elecmon_block &block, const shm_value &value)
{
    int code = stored<int32_t>(block, value);
    if (value.mask == shm_mask_voltage_type)
        log_voltage_kind(code);
    return new_word(kind_words, code);
}

static char *value_text(const elecmon_block &block, const shm_value &value)
{
    char buffer[render_buffer_size];
    switch (value.rendering) {
    case shm_as_tenths:
        return strdup(tenths_str(buffer, stored<int32_t>(block, value)));
    case shm_as_hundredths:
        return new_text("%.2f", stored<int32_t>(block, value) / 100.0).release();
    case shm_as_kind:
        return kind_text(block, value);
    case shm_as_energy:
        return new_text("%.3f", static_cast<double>(stored_energy(block, value)) / 36000000.0).release();
    case shm_as_time:
        return strdup(date_str(buffer, stored<int32_t>(block, value)));
    case shm_as_tripped:
        return strdup(stored<uint8_t>(block, value) ? "tripped" : "not tripped");
    case shm_as_fuse:
        return new_word(fuse_words, stored<uint8_t>(block, value));
    }
    return nullptr;
}

char *shm_value_text(const elecmon_block &block, uint32_t mask)
{
    for (const shm_value &value : shm_values)
        if (value.mask == mask)
            return value_text(block, value);
    return nullptr;
}
