// The status segment, as somebody who means harm could leave it: an image of a chain, in which each line of the input
// puts a value in a place.
//     FIELD INDEX VALUE   a field of the INDEX-th record of its kind; VALUE is a number in hexadecimal, or the address
//                         of a record, as "port:1"; a text is filled with the byte VALUE
//     raw OFFSET VALUE    32 bits anywhere
// No reader leaves the segment, runs on without end, or gives what its field can't hold.

#include <algorithm>
#include <array>
#include <cstring>

#include <sanitizer/asan_interface.h>

#include "client/types.h"
#include "core/ztd_shm.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/fuzz_chain.h"

static constexpr size_t image_size = 48 * 1024; // multiple of the sanitizer's granule

enum record_kind { of_root, of_port, of_pdu, of_elem, of_outlet, kind_count };
static constexpr const char *kind_names[] = {"root", "port", "pdu", "elem", "outlet"};

struct field_row {
    const char *name;
    record_kind kind;
    size_t offset;
    size_t width;
};

#define FIELD(kind, member)                                                                                            \
    {                                                                                                                  \
#kind "." #member, of_##kind, offsetof(shm_##kind, member), sizeof(shm_##kind::member)                         \
    }
static constexpr field_row fields[] = {
    FIELD(root, ports),
    FIELD(port, id),
    FIELD(port, name),
    FIELD(port, pdus),
    FIELD(port, next),
    FIELD(pdu, id),
    FIELD(pdu, model_text),
    FIELD(pdu, model),
    FIELD(pdu, capabilities),
    FIELD(pdu, name),
    FIELD(pdu, num_phases),
    FIELD(pdu, num_circuits),
    FIELD(pdu, num_outlets),
    FIELD(pdu, outlets),
    FIELD(pdu, next),
    FIELD(pdu, block.available),
    FIELD(elem, capabilities),
    FIELD(elem, id),
    FIELD(elem, sys_name),
    FIELD(elem, block.available),
    FIELD(elem, block.voltage_type),
    FIELD(outlet, capabilities),
    FIELD(outlet, id),
    FIELD(outlet, name),
    FIELD(outlet, sys_name),
    FIELD(outlet, ctrl_status),
    FIELD(outlet, mod_status),
    FIELD(outlet, post_on),
    FIELD(outlet, block.available),
    FIELD(outlet, block.cumulative_watthour),
    FIELD(outlet, block.cumulative_starttime),
    FIELD(outlet, block.blown_fuse),
};
#undef FIELD

// --- The image ------------------------------------------------------------------------------------------------------

static std::vector<uint8_t> sound_image;
static std::array<std::vector<uint32_t>, kind_count> records; // addresses, by kind

static void note_pdu(uint32_t address)
{
    const shm_pdu &pdu = *fake_segment::at<shm_pdu>(address);
    records[of_pdu].push_back(address);
    for (uint32_t at = 0; at < pdu.num_phases; at++)
        records[of_elem].push_back(address + offsetof(shm_pdu, phases) + at * sizeof(shm_elem));
    for (uint32_t at = 0; at < pdu.num_circuits; at++)
        records[of_elem].push_back(address + offsetof(shm_pdu, circuits) + at * sizeof(shm_elem));
    for (uint32_t at = 0; at < pdu.num_outlets; at++)
        records[of_outlet].push_back(pdu.outlets + at * sizeof(shm_outlet));
}

static void take_image()
{
    fresh_world();
    const auto bytes = segment.bytes();
    sound_image.assign(bytes.begin(), bytes.begin() + image_size);
    records[of_root].push_back(shm_base_address);
    for (uint32_t port = segment.root().ports; port; port = fake_segment::at<shm_port>(port)->next) {
        records[of_port].push_back(port);
        for (uint32_t pdu = fake_segment::at<shm_port>(port)->pdus; pdu; pdu = fake_segment::at<shm_pdu>(pdu)->next)
            note_pdu(pdu);
    }
    // Smaller than what is mapped, and a step beyond its end is seen.
    ASAN_POISON_MEMORY_REGION(bytes.data() + image_size, bytes.size() - image_size);
    segment.size = image_size;
    shm_forget();
}

static uint32_t value_of(const std::string &text)
{
    const size_t colon = text.find(':');
    for (size_t kind = 0; colon != text.npos && kind < kind_count; kind++)
        if (text.compare(0, colon, kind_names[kind]) == 0)
            return records[kind][strtoul(text.c_str() + colon + 1, nullptr, 10) % records[kind].size()];
    return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, 16));
}

static void put(uint8_t *at, size_t width, uint32_t value)
{
    if (width <= sizeof value)
        memcpy(at, &value, width);
    else
        memset(at, static_cast<int>(value & 0xff), width);
}

static void patch(const std::string &line)
{
    const std::vector<std::string> words = cut_at(line, ' ');
    if (words.size() != 3)
        return;
    const uint32_t value = value_of(words[2]);
    if (words[0] == "raw")
        put(segment.bytes().data() + strtoul(words[1].c_str(), nullptr, 16) % (image_size - 3), 4, value);
    for (const field_row &row : fields) {
        if (words[0] != row.name)
            continue;
        const std::vector<uint32_t> &of_kind = records[row.kind];
        const uint32_t record = of_kind[strtoul(words[1].c_str(), nullptr, 10) % of_kind.size()];
        put(fake_segment::at<uint8_t>(record) + row.offset, row.width, value);
    }
}

// --- The readers ----------------------------------------------------------------------------------------------------

static constexpr int wrong_number = -4711; // what a result is before it is written

static void check_text(int result, const owned_text &text, size_t longest)
{
    must((result == 0) == (text.get() != nullptr), "a text is written with the answer 0 alone");
    must(!text || strlen(text.get()) <= longest, "a text is as long as its field at most");
}

static std::vector<int> values_of(const owned_int_list &list)
{
    std::vector<int> values;
    for (const paramtype_int_list *at = list.get(); at; at = at->next)
        values.push_back(at->value);
    return values;
}

static std::vector<int> listed(int result, const owned_int_list &list)
{
    const std::vector<int> values = values_of(list);
    must(result == 0 || values.empty(), "a list is written with the answer 0 alone");
    must(values.size() <= image_size / sizeof(shm_outlet), "a list has as many entries as records can lie there");
    for (int value : values)
        must(value >= -1 && value <= 256, "its numbers are those of a byte", std::to_string(value));
    return values;
}

static void read_attributes(int port, int pdu, int elem, int type)
{
    static constexpr struct {
        int code;
        size_t longest;
    } attributes[] = {{1, 33},    {2, 15},    {4, 16},     {0x10, 31},  {0x20, 31},
                      {0x80, 15}, {0x100, 9}, {0x2000, 0}, {0x20000, 0}};
    for (const auto &attribute : attributes) {
        owned_text text;
        int number = wrong_number;
        const int result = node_info_shm(port, pdu, elem, type, attribute.code, into(text), &number);
        must(result == 0 || number == wrong_number, "a number is written with the answer 0 alone");
        must(number == wrong_number || (number >= 0 && number <= 255), "a number is a byte's");
        must(result == 0 || !text, "a text is written with the answer 0 alone");
        must(!text || strlen(text.get()) <= attribute.longest, "a text is as long as its field at most");
    }
}

static void read_node(int port, int pdu, int elem, int type)
{
    static constexpr uint32_t masks[] = {shm_mask_current,
                                         shm_mask_voltage_type,
                                         shm_mask_cumulative_watthour,
                                         shm_mask_cumulative_starttime,
                                         shm_mask_hwocp,
                                         shm_mask_blown_fuse,
                                         0x02000000};
    const uint32_t available = elecmon_available_shm(port, pdu, elem, type, ~0u);
    for (uint32_t mask : masks) {
        must((elecmon_caps_shm(port, pdu, elem, type, mask) == 0) == ((available & mask) != 0),
             "what is available is said alike in both ways");
        owned_text text;
        const int result = elecmon_elem_info_shm(port, pdu, elem, type, mask, into(text));
        check_text(result, text, 40);
    }
    node_caps_shm(port, pdu, elem, type, ~0u);
    read_attributes(port, pdu, elem, type);
}

static void read_unit(int port, int pdu)
{
    for (int type : {elem_phase, elem_circuit, elem_outlet, elem_pdu, -1, 4}) {
        owned_int_list list;
        const int result = list_int_elem_shm(port, pdu, type, into(list));
        const int count = static_cast<int>(listed(result, list).size());
        for (int elem : {0, 1, count, count + 1, 255, -1})
            read_node(port, pdu, elem, type);
    }
}

static void find_names()
{
    for (const char *name : {"rack1", "2nd", "web1", "", "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"})
        for (int kind : {name_of_outlet, name_of_pdu, 0})
            for (int wanted : {wanted_port, wanted_pdu, wanted_outlet, 7}) {
                int number = wrong_number;
                const int result = name2id_shm(name, kind, wanted, nullptr, &number);
                must((result == 0) == (number != wrong_number), "a number is written with the answer 0 alone");
                must(result != 0 || (number >= -1 && number <= 256), "it is one of an address");
            }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (sound_image.empty())
        take_image();
    forget();
    memcpy(segment.bytes().data(), sound_image.data(), image_size);
    for (const std::string &line : cut_at(c_text(input_text(data, size)), '\n'))
        patch(line);

    const size_t before = heap.live();
    owned_int_list ports;
    std::vector<int> numbers = listed(list_int_port_shm(into(ports)), ports);
    must(numbers.size() <= 1, "one port is listed at most");
    numbers.push_back(1);
    for (int port : numbers) {
        owned_int_list pdus;
        std::vector<int> units = listed(list_int_pdu_shm(port, into(pdus)), pdus);
        units.resize(std::min<size_t>(units.size(), 2));
        units.push_back(2);
        for (int pdu : units)
            read_unit(port, pdu);
    }
    find_names();
    ports.reset();
    must(heap.live() == before, "the heap is as it was");
    return 0;
}
