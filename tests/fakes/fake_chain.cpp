// Builds a chain of units into the fake tree and into the fake segment at once.

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <time.h>

#include "core/render.h"
#include "platform/include/morvdclient.h"
#include "tests/fakes/state.h"

namespace fakes {

static constexpr int type_pdu = 3;
static constexpr int type_envmon = 4;
static constexpr const char *containers[] = {"phase", "circuit", "outlet", "", "envmon"};
static constexpr const char *sys_names[] = {"P", "S", "O", "", "E"};

static std::string numbered(const std::string &before, int number)
{
    return before + std::to_string(number);
}

static std::string unit_path(int port, int pdu)
{
    return numbered(numbered("power.port.", port) + ".pdu.", pdu);
}

static std::string encoded(const std::string &text)
{
    char *made = url_encode(text.c_str());
    std::string result = made;
    free(made);
    return result;
}

static void store(std::span<char> field, const std::string &text)
{
    if (text.size() >= field.size())
        throw std::out_of_range("fakes: '" + text + "' does not fit its field");
    memcpy(field.data(), text.c_str(), text.size() + 1);
}

// --- Values of a block ----------------------------------------------------------------------------------------------

static int64_t scaled(const std::string &text, double scale)
{
    char *end;
    double value = strtod(text.c_str(), &end);
    if (text.empty() || *end)
        throw std::invalid_argument("fakes: '" + text + "' is no number");
    return llround(value * scale);
}

static int64_t word_code(const std::string &text, std::initializer_list<const char *> words)
{
    int64_t code = 0;
    for (const char *word : words) {
        if (text == word)
            return code;
        code++;
    }
    throw std::invalid_argument("fakes: '" + text + "' is no word of this value");
}

static int64_t time_code(const std::string &text)
{
    if (text.empty())
        return 0;
    tm when = {};
    if (!strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &when))
        throw std::invalid_argument("fakes: '" + text + "' is no time");
    return timegm(&when);
}

template <class Cell> static void put(elecmon_block &block, const shm_value &value, int64_t number)
{
    Cell cell = static_cast<Cell>(number);
    memcpy(reinterpret_cast<char *>(&block) + value.offset, &cell, sizeof cell);
}

static void poll_value(elecmon_block &block, const shm_value &value, const std::string &text)
{
    switch (value.rendering) {
    case shm_as_tenths:
        put<int32_t>(block, value, scaled(text, 10));
        break;
    case shm_as_hundredths:
        put<int32_t>(block, value, scaled(text, 100));
        break;
    case shm_as_kind:
        put<int32_t>(block, value, word_code(text, {"UNDEFINED", "ESTIMATED", "MEASURED"}));
        break;
    case shm_as_energy:
        put<int64_t>(block, value, scaled(text, 36000000));
        break;
    case shm_as_time:
        put<int32_t>(block, value, time_code(text));
        break;
    case shm_as_tripped:
        put<uint8_t>(block, value, word_code(text, {"not tripped", "tripped"}));
        break;
    case shm_as_fuse:
        put<uint8_t>(block, value, word_code(text, {"N/A", "OK", "BLOWN"}));
        break;
    }
    block.available |= value.mask;
}

static const shm_value *value_of(const std::string &leaf)
{
    for (const shm_value &value : shm_values)
        if (leaf == value.leaf)
            return &value;
    return nullptr;
}

static uint8_t status_code(const std::string &text, const char *(*word)(int))
{
    for (int code = 1; code < 16; code++)
        if (text == word(code))
            return static_cast<uint8_t>(code);
    throw std::invalid_argument("fakes: '" + text + "' is no status");
}

// --- Nodes ----------------------------------------------------------------------------------------------------------

fake_node fake_node::element(int type, int number, int count) const
{
    if (number < 1 || number > count)
        throw std::out_of_range("fakes: no " + numbered(containers[type], number) + " in this unit");
    return {port_, pdu_, record_, type, number};
}

fake_node fake_node::phase(int number) const
{
    return element(0, number, pdu_record().num_phases);
}

fake_node fake_node::circuit(int number) const
{
    return element(1, number, pdu_record().num_circuits);
}

fake_node fake_node::outlet(int number) const
{
    return element(2, number, pdu_record().num_outlets);
}

fake_node fake_node::envmon(int number) const
{
    return element(type_envmon, number, static_cast<int>(tree.children(unit().path("envmon")).size()));
}

fake_node fake_node::unit() const
{
    return {port_, pdu_, record_, type_pdu, 0};
}

shm_pdu &fake_node::pdu_record() const
{
    return *fake_segment::at<shm_pdu>(record_);
}

shm_elem &fake_node::elem_record() const
{
    shm_pdu &pdu = pdu_record();
    return type_ == 0 ? pdu.phases[number_ - 1] : pdu.circuits[number_ - 1];
}

shm_outlet &fake_node::outlet_record() const
{
    return fake_segment::at<shm_outlet>(pdu_record().outlets)[number_ - 1];
}

elecmon_block &fake_node::block() const
{
    return type_ == type_pdu ? pdu_record().block : type_ == 2 ? outlet_record().block : elem_record().block;
}

uint32_t &fake_node::capabilities() const
{
    // Packed nowhere: all words of the records lie aligned.
    return type_ == type_pdu ? pdu_record().capabilities
           : type_ == 2      ? outlet_record().capabilities
                             : elem_record().capabilities;
}

// The values of a record that stand outside its block; false where the leaf is none of them.
bool fake_node::poll_fixed(const std::string &leaf, const std::string &value) const
{
    if (type_ == type_pdu) {
        shm_pdu &pdu = pdu_record();
        if (leaf == "id")
            return store(pdu.name, value), true;
        if (leaf == "model")
            return store(pdu.model_text, value), true;
        uint8_t *count = leaf == "model_nr"       ? &pdu.model
                         : leaf == "num-outlets"  ? &pdu.num_outlets
                         : leaf == "num-phases"   ? &pdu.num_phases
                         : leaf == "num-circuits" ? &pdu.num_circuits
                                                  : nullptr;
        return count ? *count = static_cast<uint8_t>(atoi(value.c_str())), true : false;
    }
    if (leaf == "sys-name") {
        type_ == 2 ? store(outlet_record().sys_name, value) : store(elem_record().sys_name, value);
        return true;
    }
    if (type_ != 2)
        return false;
    shm_outlet &outlet = outlet_record();
    if (leaf == "name")
        return store(outlet.name, value), true;
    if (leaf == "ctrl-status")
        outlet.ctrl_status = status_code(value, ctrl_status_str), outlet.capabilities |= shm_outlet_ctrl_status;
    else if (leaf == "mod-status")
        outlet.mod_status = status_code(value, mod_status_str), outlet.capabilities |= shm_outlet_mod_status;
    else if (leaf == "post-power-on")
        outlet.post_on = static_cast<int32_t>(scaled(value, 10)), outlet.capabilities |= shm_outlet_post_on;
    else if (leaf == "post-power-off")
        outlet.post_off = static_cast<int32_t>(scaled(value, 10)), outlet.capabilities |= shm_outlet_post_off;
    else
        return false;
    return true;
}

static uint32_t valid_bit(int type)
{
    return type == type_pdu ? shm_pdu_block_valid : type == 2 ? shm_outlet_block_valid : shm_elem_block_valid;
}

static uint32_t outlet_bit(const std::string &leaf)
{
    return leaf == "ctrl-status"      ? shm_outlet_ctrl_status
           : leaf == "mod-status"     ? shm_outlet_mod_status
           : leaf == "post-power-on"  ? shm_outlet_post_on
           : leaf == "post-power-off" ? shm_outlet_post_off
                                      : 0;
}

const fake_node &fake_node::poll(const std::string &leaf, const std::string &value) const
{
    if (type_ == type_envmon || poll_fixed(leaf, value))
        return *this;
    if (const shm_value *known = value_of(leaf)) {
        poll_value(block(), *known, value);
        capabilities() |= valid_bit(type_);
    }
    return *this;
}

const fake_node &fake_node::serve(const std::string &leaf, const std::string &text) const
{
    tree.text(path(leaf), text);
    return *this;
}

const fake_node &fake_node::publish(const std::string &leaf, const std::string &text) const
{
    poll(leaf, text);
    if (type_ == type_pdu && leaf == "id") {
        if (std::optional<std::string> old = value("id"))
            tree.remove("power.pdu." + encoded(*old));
        tree.text("power.pdu." + encoded(text) + ".pdu", std::to_string(pdu_));
        tree.text("power.pdu." + encoded(text) + ".port", std::to_string(port_));
    }
    return serve(leaf, text);
}

const fake_node &fake_node::without(const std::string &leaf) const
{
    tree.remove(path(leaf));
    if (type_ == type_envmon)
        return *this;
    if (const shm_value *known = value_of(leaf))
        block().available &= ~known->mask;
    if (type_ == 2)
        capabilities() &= ~outlet_bit(leaf);
    return *this;
}

const fake_node &fake_node::refuse(const std::string &verb, const std::string &leaf, int code) const
{
    tree.refuse(verb, path(leaf), code);
    return *this;
}

const fake_node &fake_node::drop(const std::string &verb, const std::string &leaf) const
{
    tree.drop(verb, path(leaf));
    return *this;
}

std::string fake_node::path() const
{
    std::string unit_part = unit_path(port_, pdu_);
    return type_ == type_pdu ? unit_part : numbered(unit_part + "." + containers[type_] + ".", number_);
}

std::string fake_node::path(const std::string &leaf) const
{
    return path() + "." + leaf;
}

std::optional<std::string> fake_node::value(const std::string &leaf) const
{
    return tree.value(path(leaf));
}

// --- The chain ------------------------------------------------------------------------------------------------------

fake_chain::fake_chain(layout ports) : layout_(ports), counts_(1)
{
    if (layout_ == with_local)
        add_port(1, shm_local_port_name);
    serve_lists();
}

uint32_t fake_chain::add_port(int id, const std::string &name)
{
    uint32_t address = segment.allocate(sizeof(shm_port));
    shm_port *port = fake_segment::at<shm_port>(address);
    port->id = static_cast<uint8_t>(id);
    store(port->name, name);
    uint32_t *link = &segment.root().ports;
    while (*link)
        link = &fake_segment::at<shm_port>(*link)->next;
    *link = address;
    return last_port_ = address;
}

void fake_chain::serve_lists() const
{
    texts ports;
    for (size_t port = 1; port <= counts_.size(); port++) {
        texts units;
        for (int pdu = 1; pdu <= counts_[port - 1]; pdu++)
            units.push_back(std::to_string(pdu));
        std::string path = numbered("power.port.", static_cast<int>(port));
        tree.list(path + ".pdu", units).text(path + ".num-pdus", std::to_string(units.size()));
        ports.push_back(std::to_string(port));
    }
    tree.list("power.port", ports).text("power.num-devices", std::to_string(ports.size()));
}

fake_chain &fake_chain::next_port()
{
    port_++;
    counts_.push_back(0);
    last_port_ = 0;
    serve_lists();
    return *this;
}

static void list_elements(const fake_node &unit, int type, int count)
{
    texts numbers;
    for (int number = 1; number <= count; number++)
        numbers.push_back(std::to_string(number));
    tree.list(unit.path(containers[type]), numbers);
}

static void publish_elements(const fake_node &unit, const unit_layout &plan)
{
    list_elements(unit, 0, plan.phases);
    list_elements(unit, 1, plan.circuits);
    list_elements(unit, 2, plan.outlets);
    list_elements(unit, type_envmon, plan.envmons);
    for (int number = 1; number <= plan.phases; number++)
        unit.phase(number).publish("sys-name", numbered(sys_names[0], number));
    for (int number = 1; number <= plan.circuits; number++)
        unit.circuit(number).publish("sys-name", numbered(sys_names[1], number));
    for (int number = 1; number <= plan.outlets; number++)
        unit.outlet(number).publish("sys-name", numbered(sys_names[2], number));
    for (int number = 1; number <= plan.envmons; number++)
        unit.envmon(number).publish("sys-name", numbered(sys_names[type_envmon], number));
}

static void number_records(shm_pdu &record, const unit_layout &plan)
{
    for (int at = 0; at < plan.phases; at++)
        record.phases[at].id = static_cast<uint8_t>(at + 1);
    for (int at = 0; at < plan.circuits; at++)
        record.circuits[at].id = static_cast<uint8_t>(at + 1);
    record.outlets = segment.allocate(sizeof(shm_outlet) * static_cast<size_t>(plan.outlets));
    for (int at = 0; at < plan.outlets; at++)
        fake_segment::at<shm_outlet>(record.outlets)[at].id = static_cast<uint8_t>(at + 1);
}

fake_node fake_chain::unit(const unit_layout &plan)
{
    if (plan.phases > shm_phases_max || plan.circuits > shm_circuits_max)
        throw std::out_of_range("fakes: a unit record has no room for so many phases or circuits");

    int pdu = ++counts_[static_cast<size_t>(port_) - 1];
    bool local = port_ == 1 && pdu == 1 && layout_ == with_local;
    if (!local && (!last_port_ || fake_segment::at<shm_port>(last_port_)->id != port_ + 1))
        add_port(port_ + 1, numbered("ttyS", port_));

    uint32_t address = segment.allocate(sizeof(shm_pdu));
    shm_pdu &record = *fake_segment::at<shm_pdu>(address);
    record.id = static_cast<uint8_t>(local ? pdu : pdu - 1);
    number_records(record, plan);
    uint32_t *link = &fake_segment::at<shm_port>(last_port_)->pdus;
    while (*link)
        link = &fake_segment::at<shm_pdu>(*link)->next;
    *link = address;
    records_[{port_, pdu}] = address;

    fake_node made = at(pdu, port_);
    made.publish("id", plan.id.empty() ? numbered("unit", static_cast<int>(records_.size())) : plan.id)
        .publish("model_nr", std::to_string(plan.model))
        .publish("num-outlets", std::to_string(plan.outlets))
        .publish("num-phases", std::to_string(plan.phases))
        .publish("num-circuits", std::to_string(plan.circuits))
        .serve("max-current", "32.0")
        .serve("version", "2.1");
    publish_elements(made, plan);
    serve_lists();
    return made;
}

fake_node fake_chain::at(int pdu, int port) const
{
    return {port, pdu, records_.at({port, pdu}), type_pdu, 0};
}

} // namespace fakes
