// One fake platform for all tests in process: a control tree, a status segment, a session, a log, a heap that can fail
// and a clock. Everything is set back before each test (main.cpp), so that tests can run in any order.
//
//     fake_chain chain;
//     chain.unit({.outlets = 2}).outlet(2).publish("current", "1.5"); // into the tree and into the segment
//     EXPECT_EQ(answer("current 1"), "...");
//     EXPECT_LOGGED("Node current unavailable for 1@1");
//     EXPECT_EXCHANGES({"info power.pdu.1.pdu", "info power.num-devices"});
//
// `answer` and `call` forget first what was recorded before (log, exchanges, events, output, sleeps, tap), so that what
// a test asserts behind them is theirs alone. The tree and the segment stay.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "core/shm_layout.h"
#include "platform/include/ci.h"
#include "shell/cli.h"

int ztcli_main(int argc, char **argv); // the program's main

namespace fakes {

using texts = std::vector<std::string>;

inline constexpr char failure_text[] = "Invalid argument. Try help for details\n";
inline constexpr char no_such_ipdu[] = "No such IPDU. Type help for details\n";

// --- The control tree ----------------------------------------------------------------------------------------------

enum how { refused, dropped }; // answered with a result code; not answered at all

// Paths are built paths: no stars, each value in its encoded form. Unset paths are refused (code 2) for get, info, list
// and mlist; set and admin are taken on any path and leave a single value behind, so that a later read gives it.
struct fake_tree {
    fake_tree &text(const std::string &path, const std::string &value); // what get and info answer
    fake_tree &absent(const std::string &path);                         // a leaf that answers without a value
    fake_tree &list(const std::string &path, const texts &names);       // what list and mlist answer
    fake_tree &list(const std::string &path, std::initializer_list<int> numbers);
    fake_tree &remove(const std::string &path); // the leaf or list, and all below it
    fake_tree &refuse(const std::string &verb, const std::string &path, int code = 7);
    fake_tree &drop(const std::string &verb, const std::string &path);
    fake_tree &allow(const std::string &verb, const std::string &path); // takes refuse or drop back

    // The n-th exchange from now (from 1) fails; 0 takes it back. `exchange_failed` says whether it came to that.
    fake_tree &fail_exchange(int n, how way, int code = 7);
    bool exchange_failed() const;

    // The n-th tsapi_make_session_ready (or idle) from now answers `code`; n 0 means every one.
    fake_tree &fail_ready(int code, int n = 0);
    fake_tree &fail_idle(int code, int n = 0);

    // Runs with the arguments after a successful exchange of that verb and path, to let the world move on.
    fake_tree &when(const std::string &verb, const std::string &path, std::function<void(const texts &args)> action);

    // The text of a leaf now; nothing where it is unset or absent.
    std::optional<std::string> value(const std::string &path) const;

    // Remembers all leaves and lists as they are, and makes them so again.
    void keep() const;
    void put_back() const;

    // Where a list was not given by `list`, what list and mlist answer: the next components of all paths below.
    texts children(const std::string &path) const;
};
inline fake_tree tree;

// "verb path[ args...]" in order, the failed ones too: "info power.num-devices", "admin power.command.on 1.1.1".
const texts &exchanges();

// Everything in order: "login", "destroy", "ready", "send VERB PATH[ ARGS...]", "idle", "release" (the transaction),
// "commit", "seteuid N", "tap TEXT", "sleep USEC", "ftok PATH ID", "shmget KEY SIZE 0oFLAGS", "shmat ADDRESS",
// "shmctl", "shmdt", "exec MODULE FUNCTION ARGUMENTS", "reset_to", "check_modules", "flag_signal N VALUE",
// "set_sighandler", "signal_treat", "init".
const texts &events();

// Forgets log, exchanges, events, output, sleeps and tap; the state of the world stays.
void forget();

// --- The status segment --------------------------------------------------------------------------------------------

inline constexpr size_t segment_size = 0x100000;

// Mapped at its address for good; at the start of a test it exists, is ready and holds no port.
struct fake_segment {
    bool key_file = true;   // false: ftok fails
    bool exists = true;     // false: shmget fails
    bool attaches = true;   // false: shmat fails
    bool elsewhere = false; // true: shmat answers another address
    int id = 4711;
    size_t size = segment_size; // what shmctl says
    int ready_after = -1;       // the ready byte turns set in the n-th sleep

    std::span<uint8_t> bytes() const;                   // all of it, to read and to write
    void install(std::span<const uint8_t> image) const; // these bytes from the base, zeros behind
    shm_root &root() const;
    void ready(bool set) const;
    uint32_t allocate(size_t size); // the address of zeroed room inside, for a record built by hand
    template <class Record> static Record *at(uint32_t address)
    {
        return reinterpret_cast<Record *>(static_cast<uintptr_t>(address));
    }
};
inline fake_segment segment;

// --- A chain of units -----------------------------------------------------------------------------------------------

struct unit_layout {
    int outlets = 8;
    int phases = 1;
    int circuits = 0;
    int envmons = 0; // the tree alone knows them
    int model = 128;
    std::string id = {}; // "unitN" by the ordinal N in the whole chain
};

class fake_chain;

// One node of a chain: a unit or one of its phases, circuits, outlets or environment monitors.
class fake_node {
public:
    fake_node outlet(int number) const;
    fake_node phase(int number) const;
    fake_node circuit(int number) const; // shown as a segment
    fake_node envmon(int number) const;
    fake_node unit() const;

    // A value in the tree and, where the segment has a place for it, in the segment, with its bits of capability,
    // availability and validity. The text is the tree's: "1.5", "MEASURED", "tripped", "OK", "ON(locked)",
    // "2011-07-22 13:17:00" (UTC; "" for none). post-power-on and post-power-off are "2.5" in both.
    const fake_node &publish(const std::string &leaf, const std::string &value) const;
    const fake_node &serve(const std::string &leaf, const std::string &value) const; // in the tree alone
    const fake_node &poll(const std::string &leaf, const std::string &value) const;  // in the segment alone
    const fake_node &without(const std::string &leaf) const;                         // gone from both
    const fake_node &refuse(const std::string &verb, const std::string &leaf, int code = 7) const;
    const fake_node &drop(const std::string &verb, const std::string &leaf) const;

    std::string path() const;                                        // "power.port.1.pdu.1.outlet.2"
    std::string path(const std::string &leaf) const;                 // the same and the leaf
    std::optional<std::string> value(const std::string &leaf) const; // in the tree
    int port() const { return port_; }
    int pdu() const { return pdu_; }

    // The records; an envmon has none.
    shm_pdu &pdu_record() const;
    shm_elem &elem_record() const;
    shm_outlet &outlet_record() const;
    elecmon_block &block() const;

private:
    friend class fake_chain;
    fake_node(int port, int pdu, uint32_t record, int type, int number)
        : port_(port), pdu_(pdu), record_(record), type_(type), number_(number)
    {
    }
    fake_node element(int type, int number, int count) const;
    uint32_t &capabilities() const;
    bool poll_fixed(const std::string &leaf, const std::string &value) const;

    int port_, pdu_;
    uint32_t record_; // address of the shm_pdu
    int type_;        // 0 to 2 as the product's element types, 3 the unit, 4 an envmon
    int number_;
};

// Builds units behind one another. A unit has from the start, in tree and segment: id ("unitN"), model_nr, num-outlets,
// num-phases, num-circuits, and the element lists with their sys-names (phases "P1", circuits "S1", outlets "O1",
// envmons "E1"); in the tree alone max-current "32.0", version "2.1" and power.pdu.ID.{pdu,port}. Nothing else is
// published.
//
// In the segment the first unit is pdu 1 of the port "local" (id 1) and the units behind it lie on a port of id 2, as
// pdu 1, 2, ...: the tree's units 2, 3, ... of port 1. Without a local port the first one is pdu 0 of port id 2.
class fake_chain {
public:
    enum layout { with_local, without_local };
    explicit fake_chain(layout ports = with_local);
    fake_node unit(const unit_layout &plan = {}); // one more behind the last
    fake_node at(int pdu, int port = 1) const;    // a unit that is there
    fake_chain &next_port();                      // units that follow lie on the tree's next port
    std::optional<std::string> value(const std::string &path) const { return tree.value(path); }

private:
    uint32_t add_port(int id, const std::string &name);
    void serve_lists() const;

    layout layout_;
    int port_ = 1;            // the tree's port that takes the next unit
    std::vector<int> counts_; // units of each tree port
    uint32_t last_port_ = 0;  // address of the record that takes the next unit
    std::map<std::pair<int, int>, uint32_t> records_;
};

// --- The session ----------------------------------------------------------------------------------------------------

struct fake_session {
    bool opens = true; // false: ci_init answers null with ci_errno as `open_errno`
    int open_errno = 0;
    std::optional<std::string> command; // set before ztcli_main
    std::optional<std::string> user = "operator";
    int sid = 77;
    int login_result = 0;
    int commit_result = 0;
    int seteuid_result = 0;
    int seteuids_before = 0; // calls that succeed whatever the result above
    bool tap_works = true;
    int exec_result = 0;
    std::string root;               // what root_path puts in front; empty: the real root
    texts tap;                      // texts handed to ci_dla, in order
    void (*sighandler)() = nullptr; // by ci_set_sighandler
    std::function<void()> on_signal_treat;
};
inline fake_session session;

// --- The log --------------------------------------------------------------------------------------------------------

struct log_record {
    int level;
    std::string tag; // "(null)" for a null one
    std::string message;
};

const std::vector<log_record> &log_records(); // raw, positions too
bool is_position(const log_record &record);   // "(file.cpp:123) " and nothing else
texts log_texts(int level);                   // the messages of one level without the position records
bool logged(const std::string &message);      // by whole text, at any level; a debug line also without its position
std::string dump_log();

// Level 4 of the program itself (tag ZTCLI) without the "Found capability ..." lines: what it says about failures.
// Fails the test where a message has no position record in front of it.
texts failures();

// --- Output ---------------------------------------------------------------------------------------------------------

std::string printed(); // what reached rl_outstream since forget

// Runs treat_command on a writable copy of the line and gives what was printed. Fails the test where heap memory that
// the product took is not given back.
std::string answer(const std::string &line);
int last_result(); // of treat_command in the last answer

// A handler called directly, past the gate: with cli_own_name 0 the segment is unusable and the tree is asked.
struct argument {
    argument(const char *word) : text(word) {}
    argument(int value) : text(reinterpret_cast<const char *>(&value), sizeof value) {}
    argument(double value) : text(reinterpret_cast<const char *>(&value), sizeof value) {}
    argument(char letter) : text(1, letter) {}
    std::string text; // the bytes in the buffer
};
struct called {
    int result;
    std::optional<std::string> text; // nothing: the accumulator stayed null
};
called call(int row, std::initializer_list<argument> arguments = {});
called call(command_handler handler, std::initializer_list<argument> arguments = {}); // its first row

// --- Heap and clock -------------------------------------------------------------------------------------------------

// Counts malloc, calloc, realloc, reallocarray, strdup, strndup, asprintf and vasprintf of product code (and of the
// real platform parts linked with it).
struct fake_heap {
    void fail_at(int n); // the n-th from now (from 1) fails; 0 takes it back
    bool failed() const; // whether it came to that
    int count() const;   // since the last fail_at
    size_t live() const; // blocks taken and not given back

    // The same for realloc alone, by which the accumulator grows: the n-th text that a command appends is lost.
    void fail_growth_at(int n);
    bool growth_failed() const;
    int growth_count() const; // since the last fail_growth_at

    void watch(const std::string &secret); // from now counts the blocks that are freed while they begin with it
    int seen() const;
};
inline fake_heap heap;

struct fake_clock {
    void set(int64_t seconds, int64_t microseconds = 0);
    void advance(int64_t microseconds);
    void step(int64_t microseconds);            // every gettimeofday advances by so much, behind its answer
    const std::vector<int64_t> &sleeps() const; // microseconds, usleep and sleep; they advance the clock
};
inline fake_clock wall_clock;

// Run the body with the n-th allocation failing, for n = 1, 2, ... until all of them have succeeded; the body gets n.
// Answers how many failed.
int each_failing_allocation(const std::function<void(int n)> &body);

// The same with the n-th exchange.
int each_failing_exchange(how way, const std::function<void(int n)> &body);

// The next getopt starts with the first word, whatever was parsed before in this process.
void restart_getopt();

// Sets everything back; main.cpp calls it before each test and `check_settled` behind it.
void reset();
void check_settled();

} // namespace fakes

using namespace fakes;

#define EXPECT_LOGGED(text) EXPECT_TRUE(fakes::logged(text)) << "no \"" << (text) << "\" in\n" << fakes::dump_log()
#define EXPECT_NOT_LOGGED(text) EXPECT_FALSE(fakes::logged(text)) << "\"" << (text) << "\" in\n" << fakes::dump_log()
#define EXPECT_EXCHANGES(...) EXPECT_EQ(fakes::exchanges(), (fakes::texts __VA_ARGS__))
#define EXPECT_EVENTS(...) EXPECT_EQ(fakes::events(), (fakes::texts __VA_ARGS__))
#define EXPECT_FAILURES(...) EXPECT_EQ(fakes::failures(), (fakes::texts __VA_ARGS__))
