// Whole commands over segments that nobody made so: noise, and the segment of a chain with words, pointers and texts
// changed or its end cut off. What they say may be nonsense, but they keep inside the segment, which is fenced off
// here, give all their memory back and come to an end. ZT_SEED gives other images; a failure says which it was.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include "core/shm_layout.h"
#include "core/ztd_shm.h"
#include "tests/fakes/fakes.h"

using bytes = std::vector<uint8_t>;

static constexpr const char *lines[] = {
    "alarm",
    "alarm unit2",
    "current",
    "current summary",
    "current threshold",
    "current 1",
    "current 1 O3",
    "current 1 P2",
    "current 1 XY",
    "current summary unit2 S1",
    "current threshold 1 O1",
    "voltage",
    "voltage summary",
    "voltage 2",
    "voltage unit1 XY",
    "voltage summary 1 P1",
    "power",
    "power summary",
    "power 1 O2",
    "power 1 A",
    "powerfactor",
    "powerfactor summary",
    "powerfactor 2 S2",
    "powerfactor 1 XY",
    "energy",
    "energy summary",
    "energy unit1 O1",
    "energy reset",
    "status all",
    "status 1.1-8,unit2.3,16",
    "status lamp",
    "interval all",
    "intervaloff 1-16",
    "hwocp",
    "hwocp 2",
    "currentprotection status",
    "fuses",
    "fuses 1",
    "temperature",
    "sensors",
    "ver",
    "ver unit2",
    "id",
    "id 3",
    "display",
    "coldstart",
    "buzzer",
    "syslog",
    "serial",
    "on 1,lamp,unit2.2",
    "off all",
    "name 3 lamp",
};

static unsigned seed()
{
    const char *given = getenv("ZT_SEED");
    return given ? static_cast<unsigned>(strtoul(given, nullptr, 10)) : 20110722;
}

static size_t draw(std::mt19937 &random, size_t below)
{
    return random() % below;
}

static uint32_t address(size_t offset)
{
    return shm_base_address + static_cast<uint32_t>(offset);
}

// --- A segment of so many bytes and not one more --------------------------------------------------------------------

class fence {
public:
    explicit fence(size_t size) : size_(size), page_((size + page_size() - 1) / page_size() * page_size())
    {
        segment.size = size;
        shm_forget();
        uint8_t *base = segment.bytes().data();
        ASAN_POISON_MEMORY_REGION(base + size_, page_ - size_);
        EXPECT_EQ(mprotect(base + page_, segment_size - page_, PROT_NONE), 0);
    }
    ~fence()
    {
        uint8_t *base = segment.bytes().data();
        EXPECT_EQ(mprotect(base + page_, segment_size - page_, PROT_READ | PROT_WRITE), 0);
        ASAN_UNPOISON_MEMORY_REGION(base + size_, page_ - size_);
        segment.size = segment_size;
        shm_forget();
    }
    fence(const fence &) = delete;
    fence &operator=(const fence &) = delete;

private:
    static size_t page_size() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
    size_t size_, page_;
};

// --- Images ---------------------------------------------------------------------------------------------------------

static void poll_all(const fake_node &node)
{
    for (const shm_value &value : shm_values) {
        if (value.mask == shm_mask_hwocp || value.mask == shm_mask_blown_fuse)
            continue;
        const bool kind = value.rendering == shm_as_kind, time = value.rendering == shm_as_time;
        node.poll(value.leaf, kind ? "MEASURED" : time ? "2011-07-22 13:17:00" : "1.5");
    }
}

// Two units with everything; the bytes of their segment as far as it is used.
static bytes chain_segment()
{
    fake_chain chain;
    for (int pdu = 1; pdu <= 2; pdu++) {
        const fake_node unit = chain.unit({.outlets = 8, .phases = 3, .circuits = 6, .model = 140});
        poll_all(unit);
        for (int k = 1; k <= 8; k++) {
            poll_all(unit.outlet(k));
            unit.outlet(k).poll("ctrl-status", "ON").poll("mod-status", "ON").poll("post-power-on", "0.5");
        }
        for (int k = 1; k <= 3; k++)
            poll_all(unit.phase(k));
        for (int k = 1; k <= 6; k++)
            poll_all(unit.circuit(k));
        unit.outlet(1).publish("name", pdu == 1 ? "lamp" : "fan");
    }
    const auto all = segment.bytes();
    const auto last = std::find_if(all.rbegin(), all.rend(), [](uint8_t byte) { return byte != 0; });
    const size_t used = static_cast<size_t>(all.rend() - last);
    return {all.begin(), all.begin() + static_cast<ptrdiff_t>((used + 0x100) & ~size_t{3})};
}

static uint32_t word_at(const bytes &image, size_t offset)
{
    uint32_t word;
    memcpy(&word, image.data() + offset, sizeof word);
    return word;
}

static void put_word(bytes &image, size_t offset, uint32_t word)
{
    memcpy(image.data() + offset, &word, sizeof word);
}

static std::vector<size_t> pointers_in(const bytes &image)
{
    std::vector<size_t> found;
    for (size_t at = 0; at + sizeof(uint32_t) <= image.size(); at += sizeof(uint32_t))
        if (word_at(image, at) > shm_base_address && word_at(image, at) < address(image.size()))
            found.push_back(at);
    return found;
}

static void change_words(bytes &image, std::mt19937 &random)
{
    static constexpr uint32_t extremes[] = {0, 1, 0x7fffffff, 0x80000000, 0xffffffff, 0x7f7f7f7f, 0x80808080};
    for (size_t changes = 1 + draw(random, 200); changes > 0; changes--) {
        const size_t at = draw(random, image.size() / sizeof(uint32_t)) * sizeof(uint32_t);
        put_word(image, at, draw(random, 2) ? extremes[draw(random, std::size(extremes))] : uint32_t(random()));
    }
}

// Itself, another one, the root, the end, between two words, outside on either side.
static void change_pointers(bytes &image, const std::vector<size_t> &pointers, std::mt19937 &random)
{
    for (size_t changes = 1 + draw(random, 3); changes > 0; changes--) {
        const size_t at = pointers[draw(random, pointers.size())];
        const uint32_t targets[] = {
            address(at & ~size_t{7}),
            address(pointers[draw(random, pointers.size())]),
            word_at(image, pointers[draw(random, pointers.size())]),
            shm_base_address,
            address(image.size() - 1),
            address(image.size() - draw(random, 0x1000)),
            address(draw(random, image.size())),
            word_at(image, at) + 1 + uint32_t(draw(random, 3)),
            uint32_t(random()),
            shm_base_address - 4,
        };
        put_word(image, at, targets[draw(random, std::size(targets))]);
    }
}

static void change_counts(bytes &image, std::mt19937 &random)
{
    for (size_t at = 0; at < image.size(); at++)
        if (image[at] != 0 && image[at] < 16 && draw(random, 8) == 0)
            image[at] = static_cast<uint8_t>(draw(random, 2) ? 255 : random());
}

static bytes noise(std::mt19937 &random)
{
    bytes image(0x4000);
    for (size_t at = 0; at < image.size(); at += sizeof(uint32_t))
        put_word(image, at, draw(random, 2) ? address(draw(random, image.size()) & ~size_t{3}) : uint32_t(random()));
    return image;
}

static bytes changed(bytes image, std::mt19937 &random)
{
    const std::vector<size_t> pointers = pointers_in(image);
    switch (draw(random, 6)) {
    case 0:
        return noise(random);
    case 1:
        change_words(image, random);
        break;
    case 2:
        change_counts(image, random);
        change_pointers(image, pointers, random);
        break;
    case 3:
        image.resize(draw(random, image.size()) + 1); // a size that need not be a whole number of words
        break;
    default:
        change_pointers(image, pointers, random);
        break;
    }
    return image;
}

// --- Tests ----------------------------------------------------------------------------------------------------------

// More a listing can't have: a line for each unit of a port and each element of it.
static constexpr ptrdiff_t most_lines = 257 * (1 + 3 + 6 + 255);

// How many of the lines had an answer of their own; one in `share` of them is typed.
static int answers_over(const bytes &image, std::mt19937 &random, size_t share)
{
    segment.install(image);
    segment.ready(true); // else each of the commands waits half a minute
    const fence all_there_is(image.size());
    int answers = 0;
    for (const char *line : lines) {
        if (draw(random, share) != 0)
            continue;
        const std::string text = answer(line);
        EXPECT_LE(std::count(text.begin(), text.end(), '\n'), most_lines) << line;
        answers += !text.empty() && text != failure_text && text != no_such_ipdu;
    }
    return answers;
}

TEST(random_segment, the_chain_itself_answers_every_line)
{
    // Those that the tree alone could answer have no node here.
    std::mt19937 unused;
    EXPECT_GT(answers_over(chain_segment(), unused, 1), 35);
}

TEST(random_segment, no_command_leaves_the_segment_or_goes_on_for_ever)
{
    const bytes sound = chain_segment();
    int answers = 0, images = 0;
    for (; images < 100 && !testing::Test::HasFailure(); images++) {
        std::mt19937 random(seed() + static_cast<unsigned>(images));
        SCOPED_TRACE("ZT_SEED=" + std::to_string(seed() + static_cast<unsigned>(images)) + " is image 0");
        answers += answers_over(changed(sound, random), random, 3);
    }
    EXPECT_GT(answers, images); // most of them are read as something
}
