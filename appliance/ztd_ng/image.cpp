// Places the records one behind the other and writes them in place.

#include "appliance/ztd_ng/image.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <unistd.h>
#include <vector>

static constexpr int id_max = std::numeric_limits<uint8_t>::max();
static constexpr size_t record_alignment = 8; // the 64-bit value of a block is one store, on 64 bits
static constexpr size_t outlet_steps = 8;     // room for outlets is made in these, against a unit that gains a few

// The daemon's own words, behind the root.
struct image_mark {
    uint32_t magic;
    int32_t owner;
    uint32_t used; // bytes, from the start of the memory
};
static constexpr uint32_t image_magic = 0x7a746431;
static constexpr size_t mark_offset = sizeof(shm_root);
static constexpr size_t first_record =
    (mark_offset + sizeof(image_mark) + record_alignment - 1) & ~(record_alignment - 1);

static shm_root *root_of(std::span<std::byte> memory)
{
    return reinterpret_cast<shm_root *>(memory.data());
}

static image_mark *mark_of(std::span<std::byte> memory)
{
    return reinterpret_cast<image_mark *>(memory.data() + mark_offset);
}

// --- Stores that a reader may see at any moment ---------------------------------------------------------------------

// What was stored before is seen before what is stored after.
static void settle()
{
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

template <class Field, class Value> static void store(Field &field, Value value)
{
    const Field wanted = static_cast<Field>(value);
    if (field != wanted)
        *static_cast<volatile Field *>(&field) = wanted;
}

// Cut to the field where it is too long.
template <size_t size> static void store_text(char (&field)[size], const std::string &text)
{
    char wanted[size] = {};
    memcpy(wanted, text.data(), std::min(text.size(), size - 1));
    if (memcmp(field, wanted, size) != 0)
        memcpy(field, wanted, size);
}

static void store_value(elecmon_block &block, const shm_value &value, int64_t stored)
{
    std::byte *field = reinterpret_cast<std::byte *>(&block) + value.offset;
    switch (value.rendering) {
    case shm_as_energy:
        if (auto *energy = reinterpret_cast<volatile shm_int64 *>(field); *energy != stored)
            *energy = stored;
        break;
    case shm_as_tripped:
    case shm_as_fuse:
        store(*reinterpret_cast<uint8_t *>(field), stored);
        break;
    default:
        store(*reinterpret_cast<int32_t *>(field), stored);
        break;
    }
}

// Writes a word of bits around what the bits speak of: those that go are cleared before, those that come are set after.
template <class Write> static void store_under(uint32_t &word, uint32_t bits, Write write)
{
    store(word, word & bits);
    settle();
    write();
    settle();
    store(word, bits);
}

static void store_block(elecmon_block &block, const elecmon_status &status)
{
    store_under(block.available, status.available, [&] {
        for (size_t i = 0; i < value_count; i++)
            store_value(block, shm_values[i], status.values[i]);
    });
}

static uint32_t valid_bit(const elecmon_status &values, uint32_t bit)
{
    return values.available ? bit : 0;
}

static void store_elem(shm_elem &record, int number, const elem_status &elem)
{
    store(record.id, number);
    store_text(record.sys_name, elem.sys_name);
    store_under(record.capabilities, valid_bit(elem.values, shm_elem_block_valid),
                [&] { store_block(record.block, elem.values); });
}

static void store_outlet(shm_outlet &record, int number, const outlet_status &outlet)
{
    store(record.id, number);
    store_text(record.name, outlet.name);
    store_text(record.sys_name, outlet.sys_name);
    store_under(record.capabilities, outlet.capabilities | valid_bit(outlet.values, shm_outlet_block_valid), [&] {
        store(record.ctrl_status, outlet.ctrl_status);
        store(record.mod_status, outlet.mod_status);
        store(record.post_on, outlet.post_on);
        store(record.post_off, outlet.post_off);
        store_block(record.block, outlet.values);
    });
}

// --- Elements by number ---------------------------------------------------------------------------------------------

// How many records it takes to have one for each number up to the highest, which is at most `room`.
template <class Status> static size_t record_count(const std::vector<Status> &elems, int room)
{
    int highest = 0;
    for (const Status &elem : elems)
        if (elem.number <= room)
            highest = elem.number;
    return static_cast<size_t>(highest);
}

// A record is found by its number. One whose number the tree skips has nothing but that.
template <class Record, class Status> static void store_by_number(std::span<Record> records,
                                                                  const std::vector<Status> &elems,
                                                                  void (*store_one)(Record &, int, const Status &))
{
    static const Status nothing{};
    auto elem = elems.begin();
    for (size_t i = 0; i < records.size(); i++) {
        const int number = static_cast<int>(i) + 1;
        const bool known = elem != elems.end() && elem->number == number;
        store_one(records[i], number, known ? *elem++ : nothing);
    }
}

// The count of a table inside the record: lowered before its records lose what they say, raised after.
template <size_t room>
static void store_table(uint8_t &count, shm_elem (&records)[room], const std::vector<elem_status> &elems)
{
    const size_t wanted = record_count(elems, room);
    store(count, std::min<size_t>(count, wanted));
    settle();
    store_by_number(std::span<shm_elem>(records), elems, store_elem);
    settle();
    store(count, wanted);
}

// --- The image ------------------------------------------------------------------------------------------------------

int32_t status_image::owner(std::span<const std::byte> memory)
{
    image_mark mark;
    if (memory.size() < first_record)
        return 0;
    memcpy(&mark, memory.data() + mark_offset, sizeof mark);
    return mark.magic == image_magic ? mark.owner : 0;
}

// What the last daemon left is kept for those who still stand on it. What its own predecessors left is not, once that
// has come to half of the memory: else daemons that die again and again would fill the segment, and the larger one that
// follows is never seen by those who have this one mapped. Anybody may have written there: 0 where it can't be right.
static size_t kept(std::span<const std::byte> memory)
{
    image_mark mark;
    if (status_image::owner(memory) == 0)
        return 0;
    memcpy(&mark, memory.data() + mark_offset, sizeof mark);
    const bool sound = mark.used >= first_record && mark.used <= memory.size() / 2;
    return sound ? (mark.used + record_alignment - 1) & ~(record_alignment - 1) : 0;
}

status_image::status_image(std::span<std::byte> memory) : memory_(memory)
{
    if (memory.size() < first_record)
        throw image_full();
    withdraw();
    used_ = kept(memory);
    if (used_ == 0) {
        used_ = first_record;
        store(root_of(memory)->ports, 0);
        settle();
    }
    *mark_of(memory) = {image_magic, getpid(), static_cast<uint32_t>(used_)};
}

void status_image::withdraw()
{
    shm_root *root = root_of(memory_);
    store(root->ready, root->ready & ~shm_ready_bit);
    settle();
}

uint32_t status_image::address(const void *record) const
{
    if (record == nullptr)
        return 0;
    const auto offset = static_cast<const std::byte *>(record) - memory_.data();
    return shm_base_address + static_cast<uint32_t>(offset);
}

template <class Record> Record *status_image::allocate(size_t count)
{
    const size_t at = used_;
    const size_t size = (count * sizeof(Record) + record_alignment - 1) & ~(record_alignment - 1);
    if (size > memory_.size() - at)
        throw image_full();
    memset(memory_.data() + at, 0, size);
    used_ = at + size;
    mark_of(memory_)->used = static_cast<uint32_t>(used_);
    return reinterpret_cast<Record *>(memory_.data() + at);
}

// From the last to the first, so that whatever list a reader is in leads into the new one and ends with it.
template <class Record> void status_image::link(uint32_t &head, std::span<Record *const> records)
{
    uint32_t next = 0;
    settle();
    for (size_t i = records.size(); i-- > 0;) {
        store(records[i]->next, next);
        settle();
        next = address(records[i]);
    }
    store(head, next);
}

// The array grows by a new one behind a new pointer, and the count goes up last and down first: a reader that has
// tested a number against an older count still finds its record.
void status_image::place_outlets(unit_place &place, const unit_status &unit)
{
    shm_pdu &record = *place.record;
    const size_t count = record_count(unit.outlets, id_max);
    if (count > place.room) {
        const size_t room = (count + outlet_steps - 1) / outlet_steps * outlet_steps;
        place.outlets = allocate<shm_outlet>(room);
        place.room = room;
    }
    store(record.num_outlets, std::min<size_t>(record.num_outlets, count));
    settle();
    store_by_number(std::span(place.outlets, count), unit.outlets, store_outlet);
    settle();
    store(record.outlets, address(place.outlets));
    settle();
    store(record.num_outlets, count);
}

shm_pdu *status_image::place_unit(unit_place &place, int id, const unit_status &unit)
{
    if (place.record == nullptr)
        place.record = allocate<shm_pdu>(1);
    shm_pdu &record = *place.record;
    store(record.id, id);
    store_text(record.name, unit.id);
    store_text(record.model_text, unit.model);
    store(record.model, unit.model_code);
    store_under(record.capabilities, valid_bit(unit.values, shm_pdu_block_valid),
                [&] { store_block(record.block, unit.values); });
    store_table(record.num_phases, record.phases, unit.phases);
    store_table(record.num_circuits, record.circuits, unit.circuits);
    place_outlets(place, unit);
    return &record;
}

shm_port *status_image::place_port(port_key key, const std::string &name, std::span<const unit_status *const> units)
{
    port_place &place = ports_[key];
    if (place.record == nullptr)
        place.record = allocate<shm_port>(1);
    store(place.record->id, key.first);
    store_text(place.record->name, name);

    std::vector<shm_pdu *> records;
    for (const unit_status *unit : units) {
        const int id = key.second ? unit->number : unit->number - 1;
        if (id <= id_max)
            records.push_back(place_unit(place.units[id], id, *unit));
    }
    link<shm_pdu>(place.record->pdus, records);
    return place.record;
}

// The name of the record for all that is not the appliance's own.
static std::string chain_name(const port_status &port)
{
    for (const std::string &name : {port.name, port.device})
        if (!name.empty() && name != shm_local_port_name)
            return name;
    return "chain";
}

void status_image::publish(const chain_status &chain)
{
    std::vector<shm_port *> records;
    for (const port_status &port : chain) {
        const bool has_own = port.name == shm_local_port_name;
        std::vector<const unit_status *> own, chained;
        for (const unit_status &unit : port.units)
            (has_own && unit.local ? own : chained).push_back(&unit);

        // The port's own record stands also while its unit is away: readers take the number of the port from it.
        if (has_own && port.number <= id_max)
            records.push_back(place_port({port.number, true}, shm_local_port_name, own));
        if ((!has_own || !chained.empty()) && port.number < id_max)
            records.push_back(place_port({port.number + 1, false}, chain_name(port), chained));
    }
    shm_root *root = root_of(memory_);
    link<shm_port>(root->ports, records);
    settle();
    store(root->ready, root->ready | shm_ready_bit);
}
