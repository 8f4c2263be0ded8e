// The exchange and the conversions that all operations share: each way that one can go, with its result code, its log
// and who owns what is left.

#include <string>

#include <gtest/gtest.h>

#include "client/frame.h"
#include "client/tree.h"
#include "tests/fakes/fakes.h"
#include "tests/unit/client/log_lines.h"

namespace {

constexpr char outlets_path[] = "power.port.1.pdu.2.num-outlets";

int read_outlets(int *number)
{
    return vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets(cli_tsapi, number, nullptr, 1, 2);
}

// What read_outlets logs before and up to its request.
texts with_head(const texts &tail)
{
    texts lines = {
        "7 TSAPI Invoked TSAPI function \"vrn_tsapi_info_power_port_star0_pdu_star1_numOutlets\" for MORVD path "
        "\"power.port.*.pdu.*.num-outlets\".",
        "7 TSAPI Passing request to the PSAPI.",
        "7 PSAPI Invoked PSAPI function \"vrn_psapi_info_power_port_star0_pdu_star1_numOutlets\" for MORVD path "
        "\"power.port.*.pdu.*.num-outlets\".",
        "7 PSAPI    star0=\"1\", star1=\"2\"",
    };
    lines.insert(lines.end(), tail.begin(), tail.end());
    return lines;
}

constexpr char request_line[] = "7 PSAPI Request to MORVD will use path: \"power.port.1.pdu.2.num-outlets\".";

int list_members(paramtype_UTF8String_list **list, const char *group)
{
    return vrn_tsapi_list_authorization_group_name_star0_member(cli_tsapi, list, group);
}

} // namespace

// --- The ways that an exchange can go -------------------------------------------------------------------------------

TEST(frame, success_is_ready_send_idle_release_and_is_traced_at_level_7)
{
    tree.text(outlets_path, "8");
    int number = -1;
    EXPECT_EQ(read_outlets(&number), 0);
    EXPECT_EQ(number, 8);
    EXPECT_EVENTS({"ready", "send info power.port.1.pdu.2.num-outlets", "idle", "release"});
    EXPECT_EQ(log_lines(), with_head({request_line, "7 PSAPI PSAPI function completed successfully.",
                                      "7 TSAPI TSAPI function completed successfully."}));
}

TEST(frame, session_that_is_not_ready_passes_its_result_on_and_sends_nothing)
{
    tree.text(outlets_path, "8").fail_ready(-31);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), -31);
    EXPECT_EQ(number, -1);
    EXPECT_EVENTS({"ready"});
    EXPECT_EQ(log_lines(), with_head({"4 PSAPI Unable to make TSAPI session ready for use.",
                                      "7 TSAPI TSAPI function completed unsuccessfully."}));
}

TEST(frame, positive_result_of_make_ready_is_passed_on_too)
{
    tree.text(outlets_path, "8").fail_ready(3);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), 3);
    EXPECT_EQ(number, -1);
}

TEST(frame, request_without_answer_is_not_sent_and_leaves_the_session_ready)
{
    tree.text(outlets_path, "8").drop("info", outlets_path);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_not_sent);
    EXPECT_EQ(tree_not_sent, -2);
    EXPECT_EQ(number, -1);
    EXPECT_EVENTS({"ready", "send info power.port.1.pdu.2.num-outlets"}); // no idle on this way out
    EXPECT_EQ(log_lines(), with_head({request_line, "4 PSAPI Unable to send request to MORVD.",
                                      "7 TSAPI TSAPI function completed unsuccessfully."}));
}

TEST(frame, refusal_is_a_notice_and_the_daemons_code_is_not_passed_on)
{
    tree.text(outlets_path, "8").refuse("info", outlets_path, 99);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_refused);
    EXPECT_EQ(tree_refused, -15);
    EXPECT_EQ(number, -1);
    EXPECT_EVENTS({"ready", "send info power.port.1.pdu.2.num-outlets", "idle", "release"});
    EXPECT_EQ(log_lines(), with_head({request_line, "5 PSAPI An error was encountered during the PSAPI request.",
                                      "7 PSAPI PSAPI function completed unsuccessfully.",
                                      "7 TSAPI TSAPI function completed unsuccessfully."}));
}

TEST(frame, value_that_does_not_convert_fails_the_outer_half_alone)
{
    tree.text(outlets_path, "eight");
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_not_convertible);
    EXPECT_EQ(tree_not_convertible, -16);
    EXPECT_EQ(number, -1);
    EXPECT_EQ(log_lines(), with_head({request_line, "7 PSAPI PSAPI function completed successfully.",
                                      "7 TSAPI TSAPI function completed unsuccessfully."}));
}

TEST(frame, session_that_does_not_get_idle_is_logged_and_changes_no_success)
{
    tree.text(outlets_path, "8").fail_idle(5);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), 0);
    EXPECT_EQ(number, 8);
    EXPECT_EQ(log_lines(), with_head({request_line, "4 PSAPI Unable to make TSAPI session idle.",
                                      "7 PSAPI PSAPI function completed successfully.",
                                      "7 TSAPI TSAPI function completed successfully."}));
}

TEST(frame, session_that_does_not_get_idle_changes_no_refusal)
{
    tree.refuse("info", outlets_path).fail_idle(5);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_refused);
    EXPECT_EVENTS({"ready", "send info power.port.1.pdu.2.num-outlets", "idle", "release"});
    EXPECT_EQ(log_lines(), with_head({request_line, "5 PSAPI An error was encountered during the PSAPI request.",
                                      "4 PSAPI Unable to make TSAPI session idle.",
                                      "7 PSAPI PSAPI function completed unsuccessfully.",
                                      "7 TSAPI TSAPI function completed unsuccessfully."}));
}

TEST(frame, no_line_is_gated_by_debug_mode)
{
    tree.text(outlets_path, "8");
    int number;
    cli_debug = 0;
    read_outlets(&number);
    size_t quiet = log_records().size();
    forget();
    cli_debug = 1;
    read_outlets(&number);
    EXPECT_EQ(log_records().size(), quiet);
    EXPECT_EQ(quiet, 7u);
}

TEST(frame, nothing_is_kept_between_two_operations)
{
    tree.text(outlets_path, "8").fail_exchange(1, dropped);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_not_sent);
    EXPECT_EQ(read_outlets(&number), 0);
    EXPECT_EQ(number, 8);
}

// --- Stars and args -------------------------------------------------------------------------------------------------

TEST(frame, star_is_encoded_in_the_path_and_logged_as_it_is)
{
    tree.list("authorization.group.name.ad%2Emin%20%25.member", texts{"joe"});
    paramtype_UTF8String_list *list = nullptr;
    EXPECT_EQ(list_members(&list, "ad.min %"), 0);
    owned_text_list owner(list);
    EXPECT_EXCHANGES({"list authorization.group.name.ad%2Emin%20%25.member"});
    EXPECT_EQ(log_lines()[3], "7 PSAPI    star0=\"ad.min %\"");
    EXPECT_EQ(log_lines()[4],
              "7 PSAPI Request to MORVD will use path: \"authorization.group.name.ad%2Emin%20%25.member\".");
}

TEST(frame, empty_star_is_an_empty_component)
{
    tree.list("authorization.group.name..member", texts{"joe"});
    owned_text_list list;
    EXPECT_EQ(list_members(into(list), ""), 0);
    EXPECT_EXCHANGES({"list authorization.group.name..member"});
}

TEST(frame, three_stars_are_one_line_of_the_log)
{
    tree.text("power.port.1.pdu.2.outlet.-3.current", "0.4");
    owned_text current;
    EXPECT_EQ(
        vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_current(cli_tsapi, into(current), nullptr, 1, 2, -3), 0);
    EXPECT_STREQ(current.get(), "0.4");
    EXPECT_EQ(log_lines()[3], "7 PSAPI    star0=\"1\", star1=\"2\", star2=\"-3\"");
}

TEST(frame, path_without_stars_has_no_line_for_them)
{
    tree.text("power.num-devices", "2");
    int number = -1;
    EXPECT_EQ(vrn_tsapi_info_power_numDevices(cli_tsapi, &number, nullptr), 0);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(log_lines().size(), 6u);
    EXPECT_EQ(log_lines()[3], "7 PSAPI Request to MORVD will use path: \"power.num-devices\".");
}

TEST(frame, null_args_vector_sends_none)
{
    tree.text("appliance.shell", "started");
    owned_text text;
    EXPECT_EQ(vrn_tsapi_info_appliance_shell(cli_tsapi, into(text), nullptr), 0);
    EXPECT_EQ(vrn_tsapi_admin_power_port_star0_pdu_star1_reboot(cli_tsapi, nullptr, 1, 2), 0);
    EXPECT_EXCHANGES({"info appliance.shell", "admin power.port.1.pdu.2.reboot"});
}

TEST(frame, args_vector_is_sent_up_to_its_null)
{
    tree.text("appliance.scp", "started");
    const char *args[] = {"a b", "c", nullptr, "never"};
    owned_text text;
    EXPECT_EQ(vrn_tsapi_info_appliance_scp(cli_tsapi, into(text), args), 0);
    EXPECT_EQ(vrn_tsapi_admin_power_command_on(cli_tsapi, args), 0);
    EXPECT_EXCHANGES({"info appliance.scp a b c", "admin power.command.on a b c"});
}

// --- Absent values --------------------------------------------------------------------------------------------------

TEST(frame, text_that_is_absent_is_null_with_success)
{
    tree.absent("power.port.1.pdu.2.topology");
    char untouched[] = "";
    char *topology = untouched;
    EXPECT_EQ(vrn_tsapi_info_power_port_star0_pdu_star1_topology(cli_tsapi, &topology, nullptr, 1, 2), 0);
    EXPECT_EQ(topology, nullptr);
}

TEST(frame, number_that_is_absent_does_not_convert)
{
    tree.absent(outlets_path);
    int number = -1;
    EXPECT_EQ(read_outlets(&number), tree_not_convertible);
    EXPECT_EQ(number, -1);
}

TEST(frame, empty_list_is_null_with_success)
{
    tree.list("power.port", texts{}).list("authorization.group.name.admin.member", texts{});
    owned_int_list ports;
    owned_text_list members;
    EXPECT_EQ(vrn_tsapi_mlist_power_port(cli_tsapi, into(ports)), 0);
    EXPECT_EQ(list_members(into(members), "admin"), 0);
    EXPECT_FALSE(ports);
    EXPECT_FALSE(members);
}

TEST(frame, list_with_a_word_among_its_numbers_does_not_convert)
{
    tree.list("power.port", texts{"1", "two"});
    owned_int_list ports;
    EXPECT_EQ(vrn_tsapi_mlist_power_port(cli_tsapi, into(ports)), tree_not_convertible);
    EXPECT_FALSE(ports);
    EXPECT_EQ(log_lines().back(), "7 TSAPI TSAPI function completed unsuccessfully.");
}

// --- Values going out -----------------------------------------------------------------------------------------------

TEST(frame, value_without_a_text_is_not_sent)
{
    EXPECT_EQ(vrn_tsapi_set_network_interface_star0_method(cli_tsapi, 17, "eth0"), tree_not_sent);
    EXPECT_EXCHANGES({});
    EXPECT_EVENTS({"ready"});
    EXPECT_EQ(log_texts(4), texts{"Unable to send request to MORVD."});
}

TEST(frame, null_text_of_a_request_is_not_sent)
{
    EXPECT_EQ(vrn_tsapi_set_power_global_tarnel_username(cli_tsapi, nullptr), tree_not_sent);
    EXPECT_EQ(vrn_tsapi_add_power_pdu(cli_tsapi, nullptr), tree_not_sent);
    EXPECT_EQ(vrn_tsapi_del_power_pdu(cli_tsapi, nullptr), tree_not_sent);
    EXPECT_EQ(vrn_tsapi_move_network_interface(cli_tsapi, nullptr, "eth1"), tree_not_sent);
    EXPECT_EQ(vrn_tsapi_move_network_interface(cli_tsapi, "eth0", nullptr), tree_not_sent);
    EXPECT_EXCHANGES({});
}

TEST(frame, null_star_is_not_sent_and_logged_as_null)
{
    owned_text_list list;
    EXPECT_EQ(list_members(into(list), nullptr), tree_not_sent);
    EXPECT_EVENTS({"ready"});
    EXPECT_EQ(log_lines()[3], "7 PSAPI    star0=\"(null)\"");
    EXPECT_EQ(log_lines()[4], "7 PSAPI Request to MORVD will use path: \"(null)\".");
    EXPECT_EQ(log_lines()[5], "4 PSAPI Unable to send request to MORVD.");
}

TEST(frame, empty_value_is_sent)
{
    EXPECT_EQ(vrn_tsapi_set_power_global_tarnel_username(cli_tsapi, ""), 0);
    EXPECT_EQ(exchanges().size(), 1u);
}

// --- Memory ---------------------------------------------------------------------------------------------------------

TEST(frame, read_without_memory_fails_and_never_sends_half_a_path)
{
    tree.text("power.port.1.pdu.2.outlet.3.name", "lamp");
    int failures = each_failing_allocation([](int) {
        char untouched[] = "";
        char *name = untouched;
        int code = vrn_tsapi_info_power_port_star0_pdu_star1_outlet_star2_name(cli_tsapi, &name, nullptr, 1, 2, 3);
        for (const std::string &exchange : exchanges())
            EXPECT_EQ(exchange, "info power.port.1.pdu.2.outlet.3.name");
        if (code) {
            EXPECT_TRUE(code == tree_not_sent || code == tree_not_convertible) << code;
            EXPECT_EQ(code == tree_not_convertible, !exchanges().empty());
            EXPECT_EQ(name, untouched);
        } else {
            EXPECT_STREQ(name, "lamp"); // what an answer holds is never lost without a word
            free(name);
        }
    });
    EXPECT_GE(failures, 5); // three stars, the path, the copy of the answer
}

TEST(frame, write_without_memory_sends_nothing)
{
    in_addr address = {};
    int failures = each_failing_allocation([&](int) {
        forget();
        int code = vrn_tsapi_set_network_interface_star0_address(cli_tsapi, &address, "eth0");
        if (code) {
            EXPECT_EQ(code, tree_not_sent);
            EXPECT_EXCHANGES({});
        } else {
            EXPECT_EXCHANGES({"set network.interface.eth0.address 0.0.0.0"});
        }
    });
    EXPECT_GE(failures, 2); // the value and the path
}

TEST(frame, every_way_out_gives_back_what_it_took)
{
    tree.text(outlets_path, "8").list("power.port.1.pdu.2", texts{"id", "name"}).list("power.port", {1, 2});
    size_t before = heap.live();
    auto ask = [](int) {
        int number = -1;
        owned_text_list children;
        owned_int_list ports;
        read_outlets(&number);
        vrn_tsapi_mlist_power_port_star0_pdu_star1(cli_tsapi, into(children), 1, 2);
        vrn_tsapi_mlist_power_port(cli_tsapi, into(ports));
        vrn_tsapi_set_network_interface_star0_netmask6(cli_tsapi, 64, "eth0");
    };
    EXPECT_EQ(each_failing_exchange(dropped, ask), 4);
    EXPECT_EQ(each_failing_exchange(refused, ask), 4);
    EXPECT_GT(each_failing_allocation(ask), 4);
    tree.text(outlets_path, "x").list("power.port", texts{"x"});
    ask(0);
    EXPECT_EQ(heap.live(), before);
}
