// A segment that is rewritten at full speed while it is read, between states that are whole and others that are half
// written. Numbers are words, which come from one state or another and never from between two; lists and counts may be
// caught at any length up to their whole. Texts may mix, and so may the numbers of a line.

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "client/types.h"
#include "core/shm_layout.h"
#include "core/ztd_shm.h"
#include "tests/fakes/fakes.h"

using words = std::vector<uint32_t>;

static const std::set<std::string> states = {"1.1", "2.2", "70000.3"}; // the last differs in all bytes

static void poll_everything(const fake_node &node, const std::string &value)
{
    for (const char *leaf : {"current", "current-max", "current-min", "current-avg"})
        node.poll(leaf, value);
}

static words image_now()
{
    const auto all = segment.bytes();
    words image(all.size() / sizeof(uint32_t));
    memcpy(image.data(), all.data(), all.size());
    while (!image.empty() && image.back() == 0)
        image.pop_back();
    return image;
}

// The same image with each pointer in it, or each second one, led elsewhere.
static words half_written(words image, uint32_t elsewhere, size_t every)
{
    size_t pointers = 0;
    for (uint32_t &word : image)
        if (word > shm_base_address && word < shm_base_address + image.size() * sizeof word && pointers++ % every == 0)
            word = elsewhere;
    return image;
}

// One port with two units of eight outlets, in each of the states, whole and half written.
static std::vector<words> images()
{
    fake_chain chain;
    std::vector<words> made;
    for (int pdu = 1; pdu <= 2; pdu++)
        chain.unit({.outlets = 8, .phases = 3, .circuits = 6});
    for (const std::string &state : states) {
        for (int pdu = 1; pdu <= 2; pdu++) {
            poll_everything(chain.at(pdu), state);
            for (int k = 1; k <= 8; k++)
                poll_everything(chain.at(pdu).outlet(k), state);
            for (int k = 1; k <= 3; k++)
                poll_everything(chain.at(pdu).phase(k), state);
        }
        const words whole = image_now();
        for (uint32_t elsewhere : {0u, shm_base_address + 1, shm_base_address + uint32_t{segment_size}, 0xffffffffu})
            made.insert(made.end(), {whole, half_written(whole, elsewhere, 2), whole});
        made.push_back(half_written(whole, 0, 1));
    }
    return made;
}

// Writes word after word, one image over the other, for as long as it lives.
class writer {
public:
    explicit writer(std::vector<words> all) : all_(std::move(all)), thread_([this] { run(); }) {}
    ~writer()
    {
        stop_ = true;
        thread_.join();
    }
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;

private:
    void run()
    {
        auto *to = reinterpret_cast<volatile uint32_t *>(segment.bytes().data());
        while (!stop_)
            for (const words &image : all_)
                for (size_t at = 0; at < image.size(); at++)
                    if (to[at] != image[at])
                        to[at] = image[at];
    }

    std::vector<words> all_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

// The numbers of the form 1.1 in a text.
static std::vector<std::string> numbers_in(const std::string &text)
{
    std::vector<std::string> found;
    for (size_t point = text.find('.'); point != std::string::npos; point = text.find('.', point + 1)) {
        size_t from = point, to = point + 1;
        while (from > 0 && isdigit(static_cast<unsigned char>(text[from - 1])))
            from--;
        while (to < text.size() && isdigit(static_cast<unsigned char>(text[to])))
            to++;
        if (from < point && to > point + 1)
            found.push_back(text.substr(from, to - from));
    }
    return found;
}

TEST(rewritten_segment, value_is_one_that_a_state_has_had)
{
    const writer writing(images());
    std::set<std::string> seen;
    for (int reads = 0; reads < 20000 || seen != states; reads++) {
        owned_text text;
        const int type = reads % 2 ? elem_outlet : elem_phase;
        if (elecmon_elem_info_shm(1, 1 + reads / 2 % 2, 1 + reads / 4 % 8, type, shm_mask_current, into(text)) == 0)
            seen.insert(text.get());
        ASSERT_LE(seen.size(), states.size()) << *seen.begin() << " to " << *seen.rbegin();
    }
    EXPECT_EQ(seen, states);
}

TEST(rewritten_segment, list_is_a_part_of_the_whole)
{
    const writer writing(images());
    std::set<size_t> lengths;
    for (int reads = 0; reads < 20000 || lengths.size() < 2; reads++) {
        owned_int_list list;
        size_t length = 0;
        if (list_int_pdu_shm(1, into(list)) == 0) {
            for (const auto *node = list.get(); node; node = node->next)
                ASSERT_TRUE(node->value == 1 || node->value == 2) << node->value;
            for (const auto *node = list.get(); node; node = node->next)
                length++;
        }
        lengths.insert(length);
        ASSERT_LE(length, 2u);
        if (list_int_elem_shm(1, 2, elem_outlet, into(list)) == 0) {
            int next = 1;
            for (const auto *node = list.get(); node; node = node->next)
                ASSERT_EQ(node->value, next++);
            ASSERT_TRUE(next == 1 || next == 9) << next;
        }
    }
}

TEST(rewritten_segment, line_of_a_command_has_numbers_of_the_states)
{
    const writer writing(images());
    std::set<std::string> seen;
    for (int asked = 0; asked < 100 || seen != states; asked++)
        for (const char *line : {"current", "current summary", "current 1 O3", "current 2 P1"})
            for (const std::string &number : numbers_in(answer(line))) {
                ASSERT_TRUE(states.contains(number)) << line << ": " << number << " in\n" << printed();
                seen.insert(number);
            }
}
