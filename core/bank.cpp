// Answers for banks, out of the two circuits that feed one.

#include "core/bank.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "client/types.h"
#include "core/identifiers.h"
#include "core/log.h"
#include "core/render.h"
#include "core/shm_layout.h"
#include "core/utils.h"
#include "core/ztd_shm.h"
#include "shell/cli.h"

static constexpr const char *bank_names[] = {"A", "B", "C", "D", "XY", "XZ", "YZ", "XN", "YN", "ZN"};

// --- Values ---------------------------------------------------------------------------------------------------------

double value_dummy_bank(int port, int pdu, int elem, uint32_t mask)
{
    char text[render_buffer_size]; // a circuit that could not be read would be missing from the sum
    if (elem < 0 || elecmon_elem_copy_shm(port, pdu, elem, elem_circuit, mask, text))
        return 0.0;
    char *end;
    // Intended: `errno` is not cleared before (all readings take an old range error for their own).
    double value = real_value(text, &end);
    if (errno == ERANGE || *end)
        return 0.0;
    log_debug("val %f", value);
    return value;
}

double sum_dummy_bank(int port, int pdu, int elem, uint32_t mask)
{
    if (elem < 0)
        return 0.0;
    double first = value_dummy_bank(port, pdu, elem, mask);
    return first + value_dummy_bank(port, pdu, elem + 1, mask);
}

double first_dummy_bank(int port, int pdu, int elem, uint32_t mask)
{
    if (elem < 0)
        return 0.0;
    double first = value_dummy_bank(port, pdu, elem, mask);
    return first != 0.0 ? first : value_dummy_bank(port, pdu, elem + 1, mask);
}

double pf_dummy_bank(int port, int pdu, int elem, uint32_t mask)
{
    static constexpr struct {
        uint32_t power_factor, current, voltage, power;
    } sources[] = {
        {shm_mask_power_factor, shm_mask_current, shm_mask_voltage, shm_mask_power},
        {shm_mask_power_factor_min, shm_mask_current_min, shm_mask_voltage_min, shm_mask_power_min},
        {shm_mask_power_factor_max, shm_mask_current_max, shm_mask_voltage_max, shm_mask_power_max},
        {shm_mask_power_factor_avg, shm_mask_current_avg, shm_mask_voltage_avg, shm_mask_power_avg},
    };
    for (const auto &source : sources) {
        if (source.power_factor != mask)
            continue;
        double current = sum_dummy_bank(port, pdu, elem, source.current);
        double voltage = first_dummy_bank(port, pdu, elem, source.voltage);
        double power = sum_dummy_bank(port, pdu, elem, source.power);
        return current == 0.0 || voltage == 0.0 ? 0.0 : std::min(power / (current * voltage), 1.0);
    }
    return 0.0;
}

// --- Answers --------------------------------------------------------------------------------------------------------

// A bank that was asked for, and where its answer goes.
struct bank {
    int port;
    int pdu;
    int elem; // the first circuit, or -1
    const char *label;
    const char *format;
    char **out;

    double sum(uint32_t mask) const { return sum_dummy_bank(port, pdu, elem, mask); }
    double first(uint32_t mask) const { return first_dummy_bank(port, pdu, elem, mask); }
    double factor(uint32_t mask) const { return pf_dummy_bank(port, pdu, elem, mask); }
};

static int current_summary(const bank &at)
{
    owned_text tail = new_text(",%.1fA,%.1fA", at.sum(shm_mask_current_min), at.sum(shm_mask_current_avg));
    return !tail || append_output(at.out, at.format, at.pdu, at.label, at.sum(shm_mask_current),
                                  at.sum(shm_mask_current_max), tail.get());
}

static int current(const bank &at)
{
    owned_text tail = new_text(". Minimum current%s: %.1fA. Average current%s: %.1fA", at.label,
                               at.sum(shm_mask_current_min), at.label, at.sum(shm_mask_current_avg));
    return !tail || append_output(at.out, at.format, at.pdu, at.label, at.sum(shm_mask_current), at.label,
                                  at.sum(shm_mask_current_max), tail.get());
}

static int voltage_summary(const bank &at)
{
    owned_text tail = new_text(",%.1fV,%.1fV,%.1fV", at.first(shm_mask_voltage_max), at.first(shm_mask_voltage_min),
                               at.first(shm_mask_voltage_avg));
    return !tail || append_output(at.out, at.format, at.pdu, at.label, at.first(shm_mask_voltage), tail.get());
}

static int voltage(const bank &at)
{
    owned_text tail = new_text(". Maximum voltage%s: %.1fV. Minimum voltage%s: %.1fV. Average voltage%s: %.1fV",
                               at.label, at.first(shm_mask_voltage_max), at.label, at.first(shm_mask_voltage_min),
                               at.label, at.first(shm_mask_voltage_avg));
    return !tail || append_output(at.out, at.format, at.pdu, at.label, at.first(shm_mask_voltage), tail.get());
}

static int power_summary(const bank &at)
{
    return append_output(at.out, at.format, at.pdu, at.label, at.sum(shm_mask_power), at.sum(shm_mask_power_max),
                         at.sum(shm_mask_power_min), at.sum(shm_mask_power_avg));
}

static int power(const bank &at)
{
    return append_output(at.out, at.format, at.pdu, at.label, at.sum(shm_mask_power), at.label,
                         at.sum(shm_mask_power_max), at.label, at.sum(shm_mask_power_min), at.label,
                         at.sum(shm_mask_power_avg));
}

static int powerfactor_summary(const bank &at)
{
    return append_output(at.out, at.format, at.pdu, at.label, at.factor(shm_mask_power_factor),
                         at.factor(shm_mask_power_factor_max), at.factor(shm_mask_power_factor_min),
                         at.factor(shm_mask_power_factor_avg));
}

static int powerfactor(const bank &at)
{
    return append_output(at.out, at.format, at.pdu, at.label, at.factor(shm_mask_power_factor), at.label,
                         at.factor(shm_mask_power_factor_max), at.label, at.factor(shm_mask_power_factor_min), at.label,
                         at.factor(shm_mask_power_factor_avg));
}

static int current_threshold(const bank &at)
{
    return append_output(at.out, at.format, at.pdu, at.label, "0.0", "0.0", "0.0", "0.0");
}

// --- The label and the command --------------------------------------------------------------------------------------

static owned_text short_label(const char *name)
{
    return new_text(",%s", name);
}

static owned_text segment_label(const char *name)
{
    return new_text(" for segment %s", name);
}

static owned_text between_label(const char *name)
{
    return new_text(" between %c and %s", *name, name + 1);
}

static owned_text threshold_label(const char *name)
{
    return new_text("for segment %s ", name);
}

// The commands that know banks, by the patterns of their rows.
static constexpr struct bank_command {
    const char *pattern;
    owned_text (*label)(const char *name);
    int (*answer)(const bank &at);
} bank_commands[] = {
    {"current summary %64s %64s%n", short_label, current_summary},
    {"current %64s %64s%n", segment_label, current},
    {"voltage summary %64s %64s%n", short_label, voltage_summary},
    {"voltage %64s %64s%n", between_label, voltage},
    {"power summary %64s %64s%n", short_label, power_summary},
    {"power %64s %64s%n", segment_label, power},
    {"powerfactor summary %64s %64s%n", short_label, powerfactor_summary},
    {"powerfactor %64s %64s%n", segment_label, powerfactor},
    {"current threshold %64s %64[^:]%n", threshold_label, current_threshold},
};

static const bank_command *command_of(int row)
{
    for (const bank_command &command : bank_commands)
        if (strcmp(command.pattern, command_table[row].pattern) == 0)
            return &command;
    return nullptr;
}

static bool is_bank_name(const char *name)
{
    return std::any_of(std::begin(bank_names), std::end(bank_names),
                       [name](const char *known) { return strcmp(known, name) == 0; });
}

// The first of the two circuits that feed the bank, or -1, which is no fault: its values are 0.0.
static int first_circuit(int port, int pdu, const char *name)
{
    char circuit[sizeof "XY1"];
    snprintf(circuit, sizeof circuit, "%.2s1", name);
    log_debug("bank %s", circuit);
    return elemname2id(elem_circuit, circuit, port, pdu);
}

int answer_dummy_bank(int port, int pdu, int row, char **out, const char *name)
{
    int model = pdu2model(port, pdu);
    log_debug("elem_s %s, model %d", name, model);
    if (!model_is_current(model) || !is_bank_name(name))
        return 0;
    int elem = first_circuit(port, pdu, name);
    const bank_command *command = command_of(row);
    if (!command)
        return 0;
    owned_text label = command->label(name);
    return label && command->answer({port, pdu, elem, label.get(), command_table[row].format, out}) == 0;
}
