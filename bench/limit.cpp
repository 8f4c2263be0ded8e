// The limit that ztcli is held against: a program that starts, makes the exchanges that ztcli made, in lock step,
// prints what is asked for, and does nothing else.
//
//     limit SOCKET BYTES LINES REQUEST ...
//     limit --read KEY_FILE MEASURE SOCKET REQUEST ...
//
// A request is given as its bytes on the wire. A line is a write of its own: a command that shows its lines as it finds
// them can't do with fewer. With --read it attaches the status segment and prints the measure's line of each node,
// in one piece as the measuring commands do: each value read and formatted once, nothing looked up, nothing checked.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <hiredis/hiredis.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "core/shm_layout.h"

static constexpr int failed = 1;
static constexpr int usage = 2;

static char text[1 << 16]; // all that is printed

// --- Exchanges ------------------------------------------------------------------------------------------------------

static bool exchange(redisContext *connection, const char *request)
{
    void *answer = nullptr;
    if (redisAppendFormattedCommand(connection, request, strlen(request)) != REDIS_OK ||
        redisGetReply(connection, &answer) != REDIS_OK)
        return false;
    freeReplyObject(answer);
    return true;
}

static bool make_exchanges(const char *socket, int count, char **requests)
{
    redisContext *connection = redisConnectUnix(socket);
    if (connection == nullptr || connection->err != 0)
        return false;
    for (int i = 0; i < count; i++)
        if (!exchange(connection, requests[i]))
            return false;
    redisFree(connection);
    return true;
}

// --- Lines of nothing -----------------------------------------------------------------------------------------------

static bool print_lines(size_t bytes, size_t lines)
{
    if (bytes > sizeof text)
        return false;
    for (; lines > 0; lines--) {
        const size_t length = bytes / lines;
        if (write(STDOUT_FILENO, text, length) != static_cast<ssize_t>(length))
            return false;
        bytes -= length;
    }
    return true;
}

// --- Lines of the segment -------------------------------------------------------------------------------------------

// The formats are those of the rows, with what a row leaves to a worker written out.
static int current_line(char *line, size_t room, int unit, const char *label, const elecmon_block &block)
{
    return snprintf(line, room,
                    "IPDU #%d: True RMS current%s: %.1fA. Maximum current%s: %.1fA. Minimum current%s: %.1fA. "
                    "Average current%s: %.1fA\n",
                    unit, label, block.current / 10.0, label, block.current_max / 10.0, label, block.current_min / 10.0,
                    label, block.current_avg / 10.0);
}

static int power_summary_line(char *line, size_t room, int unit, const char *label, const elecmon_block &block)
{
    return snprintf(line, room, "%d%s:%.1fW,%.1fW,%.1fW,%.1fW\n", unit, label, block.power / 10.0,
                    block.power_max / 10.0, block.power_min / 10.0, block.power_avg / 10.0);
}

static int energy_line(char *line, size_t room, int unit, const char *label, const elecmon_block &block)
{
    const time_t start = block.cumulative_starttime;
    tm local;
    localtime_r(&start, &local);
    return snprintf(line, room, "IPDU #%d: Energy%s: %.3fkWh since %04d-%02d-%02d %02d:%02d:%02d.\n", unit, label,
                    static_cast<double>(block.cumulative_watthour) / 36000000.0, local.tm_year + 1900, local.tm_mon + 1,
                    local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

static constexpr struct measure {
    const char *name;
    const char *phase; // what stands before the name of an element
    const char *circuit;
    const char *outlet;
    int (*line)(char *line, size_t room, int unit, const char *label, const elecmon_block &block);
} measures[] = {
    {"current", " for phase ", " for segment ", " for outlet ", current_line},
    {"power-summary", ",", ",", ",", power_summary_line},
    {"energy", " for phase ", " for segment ", " for outlet ", energy_line},
};

static size_t printed;

static void add_line(const measure &m, int unit, const char *label, const elecmon_block &block)
{
    const int length = m.line(text + printed, sizeof text - printed, unit, label, block);
    printed += static_cast<size_t>(length);
    if (length < 0 || printed >= sizeof text)
        exit(failed);
}

static void add_element(const measure &m, int unit, const char *kind, const char *name, const elecmon_block &block)
{
    char label[32];
    stpcpy(stpcpy(label, kind), name);
    add_line(m, unit, label, block);
}

static void add_unit(const measure &m, int unit, const shm_pdu &pdu)
{
    const auto *outlets = reinterpret_cast<const shm_outlet *>(static_cast<uintptr_t>(pdu.outlets));
    add_line(m, unit, "", pdu.block);
    for (int i = 0; i < pdu.num_phases; i++)
        add_element(m, unit, m.phase, pdu.phases[i].sys_name, pdu.phases[i].block);
    for (int i = 0; i < pdu.num_circuits; i++)
        add_element(m, unit, m.circuit, pdu.circuits[i].sys_name, pdu.circuits[i].block);
    for (int i = 0; i < pdu.num_outlets; i++)
        add_element(m, unit, m.outlet, outlets[i].sys_name, outlets[i].block);
}

static bool print_nodes(const char *key_file, const char *name)
{
    const measure *found = nullptr;
    for (const measure &m : measures)
        if (strcmp(m.name, name) == 0)
            found = &m;
    void *const base = reinterpret_cast<void *>(static_cast<uintptr_t>(shm_base_address));
    const int id = shmget(ftok(key_file, shm_project_id), 0, 0);
    if (!found || id < 0 || shmat(id, base, 0) != base)
        return false;
    int unit = 0;
    for (uint32_t port = static_cast<const shm_root *>(base)->ports; port != 0;) {
        const auto &at = *reinterpret_cast<const shm_port *>(static_cast<uintptr_t>(port));
        for (uint32_t pdu = at.pdus; pdu != 0;) {
            const auto &record = *reinterpret_cast<const shm_pdu *>(static_cast<uintptr_t>(pdu));
            add_unit(*found, ++unit, record);
            pdu = record.next;
        }
        port = at.next;
    }
    return write(STDOUT_FILENO, text, printed) == static_cast<ssize_t>(printed);
}

int main(int argc, char **argv)
{
    if (argc < 4)
        return usage;
    const bool reads = strcmp(argv[1], "--read") == 0;
    const int first = reads ? 5 : 4; // request
    if (argc < first || !make_exchanges(argv[reads ? 4 : 1], argc - first, argv + first))
        return failed;
    const bool printed_all = reads ? print_nodes(argv[2], argv[3])
                                   : print_lines(strtoul(argv[2], nullptr, 10), strtoul(argv[3], nullptr, 10));
    return printed_all ? 0 : failed;
}
