// The fake platform holds what it promises: a check that cannot fail would hide what it is there to find.

#include <cstdlib>
#include <cstring>

#include <gtest/gtest-spi.h>

#include "client/types.h"
#include "core/log.h"
#include "core/ztd_shm.h"
#include "platform/include/dlog.h"
#include "platform/include/morvdclient.h"
#include "tests/fakes/fakes.h"

static char *leaked;

static int leaking_handler(int, char **, command_args)
{
    leaked = strdup("kept");
    return 1;
}

TEST(fakes, memory_that_a_handler_keeps_is_noticed)
{
    size_t before = heap.live();
    char *out = nullptr;
    leaking_handler(0, &out, {});
    EXPECT_EQ(heap.live(), before + 1);
    free(leaked);
    EXPECT_EQ(heap.live(), before);
}

TEST(fakes, nth_allocation_fails_and_only_that)
{
    heap.fail_at(2);
    owned_text first(strdup("a")), second(strdup("b")), third(strdup("c"));
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_TRUE(third);
    EXPECT_TRUE(heap.failed());
    EXPECT_EQ(heap.count(), 3);
}

TEST(fakes, every_way_to_allocate_can_fail)
{
    EXPECT_EQ(each_failing_allocation([](int n) {
                  char *text = nullptr;
                  owned_text all[] = {owned_text(static_cast<char *>(malloc(1))),
                                      owned_text(static_cast<char *>(calloc(1, 1))),
                                      owned_text(static_cast<char *>(realloc(nullptr, 1))),
                                      owned_text(strdup("x")),
                                      owned_text(strndup("x", 1)),
                                      owned_text(asprintf(&text, "%d", n) < 0 ? nullptr : text)};
                  for (int at = 0; at < 6; at++)
                      EXPECT_EQ(!all[at], at == n - 1) << n;
              }),
              6);
}

TEST(fakes, exchange_is_refused_or_dropped_by_number)
{
    tree.text("power.num-devices", "1");
    auto ask = [] {
        morvdclient_transaction *answer = morvdclient_send_info(nullptr, "power.num-devices", nullptr);
        int code = answer ? morvdclient_transaction_get_result_code(answer) : -1;
        morvdclient_destroy_transaction(answer);
        return code;
    };
    tree.fail_exchange(2, refused, 9);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 9);
    EXPECT_EQ(ask(), 0);
    tree.fail_exchange(1, dropped);
    EXPECT_EQ(ask(), -1);
    EXPECT_TRUE(tree.exchange_failed());
}

TEST(fakes, transaction_that_is_not_released_is_noticed)
{
    morvdclient_transaction *kept = morvdclient_send_info(nullptr, "power.num-devices", nullptr);
    EXPECT_NONFATAL_FAILURE(check_settled(), "transactions not released");
    morvdclient_destroy_transaction(kept);
    check_settled(); // takes the new count for known
}

TEST(fakes, failure_without_a_position_record_is_noticed)
{
    __dlog_printf(4, "ZTCLI", "no position");
    EXPECT_NONFATAL_FAILURE(failures(), "no position record");
    forget();
    log_failure("with a position");
    EXPECT_FAILURES({"with a position"});
}

TEST(fakes, chain_is_the_same_in_tree_and_segment)
{
    fake_chain chain;
    chain.unit({.outlets = 2, .phases = 3, .circuits = 1, .model = 130, .id = "a"});
    chain.unit({.outlets = 4, .id = "b"}).outlet(4).publish("current", "1.5").publish("ctrl-status", "ON(locked)");
    EXPECT_EQ(tree.value("power.port.1.num-pdus"), "2");
    EXPECT_EQ(tree.value("power.pdu.b.pdu"), "2");
    EXPECT_EQ(tree.value("power.port.1.pdu.2.outlet.4.current"), "1.5");

    int number;
    char *text = nullptr;
    EXPECT_EQ(name2id_shm("b", name_of_pdu, wanted_pdu, nullptr, &number), 0);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(node_info_shm(1, 1, 0, elem_pdu, info_pdu_num_phases, nullptr, &number), 0);
    EXPECT_EQ(number, 3);
    EXPECT_EQ(elecmon_caps_shm(1, 2, 4, elem_outlet, shm_mask_current), 0);
    EXPECT_EQ(elecmon_elem_info_shm(1, 2, 4, elem_outlet, shm_mask_current, &text), 0);
    EXPECT_STREQ(owned_text(text).get(), "1.5");
    EXPECT_EQ(node_info_shm(1, 2, 4, elem_outlet, info_outlet_ctrl_status, &text, nullptr), 0);
    EXPECT_STREQ(owned_text(text).get(), "ON(locked)");
    EXPECT_NE(elecmon_caps_shm(1, 2, 3, elem_outlet, shm_mask_current), 0);
}

TEST(fakes, leaf_without_its_node_is_gone_from_both)
{
    fake_chain chain;
    fake_node outlet = chain.unit().outlet(1);
    outlet.publish("power", "230.0").without("power");
    EXPECT_EQ(outlet.value("power"), std::nullopt);
    EXPECT_NE(elecmon_caps_shm(1, 1, 1, elem_outlet, shm_mask_power), 0);
}

TEST(fakes, children_of_a_node_are_what_was_put_below_it)
{
    tree.text("power.port.1.pdu.1.id", "a")
        .text("power.port.1.pdu.1.outlet.1.name", "b")
        .list("power.port.1.pdu.1.phase", {1});
    EXPECT_EQ(tree.children("power.port.1.pdu.1"), (texts{"id", "outlet", "phase"}));
    tree.remove("power.port.1.pdu.1.outlet");
    EXPECT_EQ(tree.children("power.port.1.pdu.1"), (texts{"id", "phase"}));
}

TEST(fakes, daemon_turns_ready_in_the_sleep_asked_for)
{
    segment.ready(false);
    segment.ready_after = 3;
    EXPECT_EQ(shm_wait_ready(), 0);
    EXPECT_EQ(wall_clock.sleeps(), (std::vector<int64_t>{500000, 500000, 500000}));
}

TEST(fakes, second_chain_on_a_port_without_local_unit_is_found)
{
    fake_chain chain(fake_chain::without_local);
    chain.unit({.id = "first"});
    chain.next_port().unit({.id = "second"});
    int number;
    EXPECT_EQ(name2id_shm("second", name_of_pdu, wanted_port, nullptr, &number), 0);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(name2id_shm("second", name_of_pdu, wanted_pdu, nullptr, &number), 0);
    EXPECT_EQ(number, 1);
}
