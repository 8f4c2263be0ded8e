// What a poll asks of the control tree and what it makes of the answers. The tree is a script behind a real socket.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "appliance/ztd_ng/image.h"
#include "appliance/ztd_ng/poll.h"
#include "ci.h"
#include "vrn_tsapi.h"

namespace fs = std::filesystem;
using words = std::vector<std::string>;

// Serves the leaves that it was told: `info` answers a leaf's text, `mlist` the next components below a path, anything
// else is refused. Keeps what it was asked; hangs up at a request if told to.
class scripted_tree {
public:
    explicit scripted_tree(const fs::path &socket_path) : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 4), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~scripted_tree()
    {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }

    void set(const std::string &path, const std::string &text)
    {
        const std::lock_guard hold(lock_);
        leaves_[path] = text;
    }
    void set_absent(const std::string &path)
    {
        const std::lock_guard hold(lock_);
        leaves_[path] = std::nullopt;
    }
    void list_only(const std::string &path)
    {
        set(path, "");
        const std::lock_guard hold(lock_);
        refused_.insert(path);
    }
    void hang_up_at(const std::string &request)
    {
        const std::lock_guard hold(lock_);
        hang_up_ = request;
    }
    words requests()
    {
        const std::lock_guard hold(lock_);
        return requests_;
    }

private:
    void serve()
    {
        for (int peer; (peer = accept(listener_, nullptr, nullptr)) >= 0; close(peer)) {
            FILE *in = fdopen(dup(peer), "r");
            for (words request; read_request(in, request);) {
                const std::string answer = answer_to(request);
                if (answer.empty() || send(peer, answer.data(), answer.size(), MSG_NOSIGNAL) < 0)
                    break;
            }
            fclose(in);
        }
    }
    static bool read_request(FILE *in, words &request)
    {
        // The line ends go as two characters: white space in the format would wait for what follows it.
        int count = 0, length = 0;
        request.clear();
        if (fscanf(in, "*%d%*c%*c", &count) != 1)
            return false;
        for (; count > 0; count--) {
            if (fscanf(in, "$%d%*c%*c", &length) != 1)
                return false;
            std::string word(static_cast<size_t>(length) + 2, '\0');
            if (fread(word.data(), 1, word.size(), in) != word.size())
                return false;
            word.resize(static_cast<size_t>(length));
            request.push_back(word);
        }
        return true;
    }
    static std::string bulk(const std::string &text)
    {
        return "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
    }
    std::string answer_to(const words &request)
    {
        const std::lock_guard hold(lock_);
        if (request[0] == "login")
            return bulk("token");
        const std::string path = request.at(1), asked = request[0] + " " + path;
        requests_.push_back(asked);
        if (asked == hang_up_)
            return "";
        if (request[0] == "mlist")
            return children(path);
        if (request[0] != "info" || !leaves_.contains(path) || refused_.contains(path))
            return "-ERR 2 no such\r\n";
        return leaves_[path] ? bulk(*leaves_[path]) : "$-1\r\n";
    }
    std::string children(const std::string &path) const
    {
        std::set<std::string> names;
        for (const auto &[leaf, text] : leaves_)
            if (leaf.starts_with(path + "."))
                names.insert(leaf.substr(path.size() + 1, leaf.find('.', path.size() + 1) - path.size() - 1));
        if (names.empty())
            return "-ERR 2 no such\r\n";
        std::string answer = "*" + std::to_string(names.size()) + "\r\n";
        for (const std::string &name : names)
            answer += bulk(name);
        return answer;
    }

    std::mutex lock_;
    std::map<std::string, std::optional<std::string>> leaves_;
    std::set<std::string> refused_;
    std::string hang_up_;
    words requests_;
    int listener_;
    std::thread thread_;
};

class ztd_poll : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/ztd-test-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root_ = name;
        fs::create_directory(root_ / "run");
        setenv("ZT_ROOT", root_.c_str(), 1);
        setenv("ZT_CI_USER", "monitor", 1);
        tree_.emplace(root_ / "run" / "morvd.sock");
        ASSERT_EQ(vrn_tsapi_init_with_vrnaaa_session(&handle_, ci_init(nullptr)), 0);
        set("name", "local");
    }
    void TearDown() override
    {
        vrn_tsapi_destroy(handle_);
        tree_.reset();
        fs::remove_all(root_);
        unsetenv("ZT_ROOT");
        unsetenv("ZT_CI_USER");
    }

    // A leaf below the tree's first port.
    void set(const std::string &leaf, const std::string &text) { tree_->set("power.port.1." + leaf, text); }
    const port_status &polled()
    {
        EXPECT_TRUE(poll_chain(handle_, chain_));
        return chain_.at(0);
    }
    bool asked(const std::string &request)
    {
        const words requests = tree_->requests();
        return std::find(requests.begin(), requests.end(), request) != requests.end();
    }

    fs::path root_;
    std::optional<scripted_tree> tree_;
    vrn_tsapi_handle *handle_ = nullptr;
    chain_status chain_;
};

static int64_t value_of(const elecmon_status &status, uint32_t mask)
{
    for (size_t i = 0; i < value_count; i++)
        if (shm_values[i].mask == mask)
            return status.values[i];
    return -1;
}

TEST_F(ztd_poll, ports_units_and_elements_come_by_ascending_number)
{
    for (const char *pdu : {"10", "2", "1"})
        for (const char *outlet : {"11", "9", "1"})
            set(std::string("pdu.") + pdu + ".outlet." + outlet + ".name", "x");
    tree_->set("power.port.2.name", "ttyS2");

    const port_status &port = polled();
    ASSERT_EQ(chain_.size(), 2U);
    EXPECT_EQ(chain_[1].number, 2);
    EXPECT_EQ(chain_[1].name, "ttyS2");
    ASSERT_EQ(port.units.size(), 3U);
    EXPECT_EQ(port.units[0].number, 1);
    EXPECT_EQ(port.units[1].number, 2);
    EXPECT_EQ(port.units[2].number, 10);
    ASSERT_EQ(port.units[2].outlets.size(), 3U);
    EXPECT_EQ(port.units[2].outlets[1].number, 9);
    EXPECT_EQ(port.units[2].outlets[2].number, 11);
}

TEST_F(ztd_poll, unit_says_who_it_is)
{
    set("device", "/dev/ttyS1");
    set("pdu.1.islocal", "true");
    set("pdu.1.id", "rack7");
    set("pdu.1.model", "ZT-8");
    set("pdu.1.model_nr", "130");
    set("pdu.2.islocal", "false");

    const port_status &port = polled();
    EXPECT_EQ(port.name, "local");
    EXPECT_EQ(port.device, "/dev/ttyS1");
    EXPECT_TRUE(port.units[0].local);
    EXPECT_EQ(port.units[0].id, "rack7");
    EXPECT_EQ(port.units[0].model, "ZT-8");
    EXPECT_EQ(port.units[0].model_code, 130);
    EXPECT_FALSE(port.units[1].local);
    EXPECT_EQ(port.units[1].id, "");
    EXPECT_EQ(port.units[1].model_code, 0);
}

TEST_F(ztd_poll, every_value_is_read_at_every_kind_of_node_that_has_it)
{
    const char *texts[] = {"1.5", "0.98", "MEASURED", "2.5", "1311340620", "tripped", "BLOWN"}; // by shm_rendering
    const int64_t stored[] = {15, 98, 2, 90000000, 1311340620, 1, 2};
    for (const char *node : {"pdu.1.", "pdu.1.phase.1.", "pdu.1.circuit.1.", "pdu.1.outlet.1."})
        for (const shm_value &value : shm_values)
            set(std::string(node) + value.leaf, texts[value.rendering]);

    const unit_status &unit = polled().units.at(0);
    const std::pair<const elecmon_status *, uint32_t> nodes[] = {
        {&unit.values, 0x0dffffff & ~shm_mask_blown_fuse},
        {&unit.phases.at(0).values, 0x0dffffff & ~shm_mask_blown_fuse},
        {&unit.circuits.at(0).values, 0x0dffffff & ~shm_mask_hwocp},
        {&unit.outlets.at(0).values, 0x0dffffff & ~shm_mask_blown_fuse},
    };
    for (const auto &[values, available] : nodes) {
        EXPECT_EQ(values->available, available);
        for (const shm_value &value : shm_values)
            EXPECT_EQ(value_of(*values, value.mask), available & value.mask ? stored[value.rendering] : 0)
                << value.leaf;
    }
}

TEST_F(ztd_poll, leaf_that_a_node_does_not_list_is_not_asked)
{
    set("pdu.1.current", "1.5");
    set("pdu.1.outlet.1.name", "web");
    polled();

    EXPECT_TRUE(asked("info power.port.1.pdu.1.current"));
    EXPECT_FALSE(asked("info power.port.1.pdu.1.voltage"));
    EXPECT_FALSE(asked("info power.port.1.pdu.1.outlet.1.ctrl-status"));
    EXPECT_FALSE(asked("info power.port.1.pdu.1.outlet.1.current"));
}

TEST_F(ztd_poll, leaf_that_is_listed_and_refused_is_not_there)
{
    tree_->list_only("power.port.1.pdu.1.current");
    set("pdu.1.voltage", "230.0");

    EXPECT_EQ(polled().units[0].values.available, shm_mask_voltage);
    EXPECT_TRUE(asked("info power.port.1.pdu.1.current"));
}

TEST_F(ztd_poll, leaf_without_a_value_is_not_there)
{
    tree_->set_absent("power.port.1.pdu.1.current");
    tree_->set_absent("power.port.1.pdu.1.outlet.1.post-power-on");
    tree_->set_absent("power.port.1.pdu.1.id");

    const unit_status &unit = polled().units.at(0);
    EXPECT_EQ(unit.values.available, 0U);
    EXPECT_EQ(unit.outlets.at(0).capabilities, 0U);
    EXPECT_EQ(unit.id, "");
}

TEST_F(ztd_poll, text_that_does_not_convert_is_not_there)
{
    set("pdu.1.current", "much");
    set("pdu.1.outlet.1.ctrl-status", "sleeping");
    set("pdu.1.outlet.1.mod-status", "ON(error)");

    const unit_status &unit = polled().units.at(0);
    EXPECT_EQ(unit.values.available, 0U);
    EXPECT_EQ(unit.outlets.at(0).capabilities, shm_outlet_mod_status);
    EXPECT_EQ(unit.outlets.at(0).ctrl_status, 0);
    EXPECT_EQ(unit.outlets.at(0).mod_status, 4);
}

TEST_F(ztd_poll, outlet_says_what_it_has_of_its_own)
{
    set("pdu.1.outlet.1.name", "web");
    set("pdu.1.outlet.1.sys-name", "O1");
    set("pdu.1.outlet.1.ctrl-status", "ON(locked)");
    set("pdu.1.outlet.1.mod-status", "OFF(ocp)");
    set("pdu.1.outlet.1.post-power-on", "2.5");
    set("pdu.1.outlet.1.post-power-off", "0.0");
    set("pdu.1.phase.1.sys-name", "X");

    const unit_status &unit = polled().units.at(0);
    const outlet_status &outlet = unit.outlets.at(0);
    EXPECT_EQ(outlet.name, "web");
    EXPECT_EQ(outlet.sys_name, "O1");
    EXPECT_EQ(outlet.capabilities,
              shm_outlet_ctrl_status | shm_outlet_mod_status | shm_outlet_post_on | shm_outlet_post_off);
    EXPECT_EQ(outlet.ctrl_status, 4);
    EXPECT_EQ(outlet.mod_status, 9);
    EXPECT_EQ(outlet.post_on, 25);
    EXPECT_EQ(outlet.post_off, 0);
    EXPECT_EQ(unit.phases.at(0).sys_name, "X");
}

TEST_F(ztd_poll, unit_without_elements_has_none_and_the_poll_is_whole)
{
    set("pdu.1.id", "bare");

    const unit_status &unit = polled().units.at(0);
    EXPECT_TRUE(unit.phases.empty());
    EXPECT_TRUE(unit.circuits.empty());
    EXPECT_TRUE(unit.outlets.empty());
}

TEST_F(ztd_poll, broken_exchange_ends_the_poll_at_once)
{
    set("pdu.1.current", "1.5");
    set("pdu.2.current", "2.5");
    tree_->hang_up_at("info power.port.1.pdu.1.current");

    EXPECT_FALSE(poll_chain(handle_, chain_));
    EXPECT_EQ(tree_->requests().back(), "info power.port.1.pdu.1.current");
}

TEST_F(ztd_poll, poll_after_a_break_is_whole_again)
{
    set("pdu.1.current", "1.5");
    tree_->hang_up_at("mlist power.port");
    EXPECT_FALSE(poll_chain(handle_, chain_));
    tree_->hang_up_at("");
    vrn_tsapi_destroy(handle_);
    handle_ = nullptr;
    ASSERT_EQ(vrn_tsapi_init_with_vrnaaa_session(&handle_, ci_init(nullptr)), 0);

    EXPECT_EQ(value_of(polled().units.at(0).values, shm_mask_current), 15);
}

TEST_F(ztd_poll, image_follows_the_tree_from_one_poll_to_the_next)
{
    alignas(8) static std::byte memory[0x4000];
    std::fill(std::begin(memory), std::end(memory), std::byte{});
    status_image image(memory);
    const auto *root = reinterpret_cast<const shm_root *>(memory);
    const auto block = [&]() -> const elecmon_block & {
        const auto *port = reinterpret_cast<const shm_port *>(memory + (root->ports - shm_base_address));
        return reinterpret_cast<const shm_pdu *>(memory + (port->pdus - shm_base_address))->block;
    };
    set("pdu.1.islocal", "true");
    set("pdu.1.current", "1.5");
    polled();
    image.publish(chain_);
    EXPECT_EQ(block().current, 15);

    set("pdu.1.current", "1.6");
    set("pdu.1.voltage", "230.1");
    polled();
    image.publish(chain_);
    EXPECT_EQ(block().current, 16);
    EXPECT_EQ(block().voltage, 2301);
    EXPECT_EQ(block().available, shm_mask_current | shm_mask_voltage);
}
