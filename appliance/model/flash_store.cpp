// One table of settings, in a database whose transactions outlive a process that is killed.

#include "appliance/model/flash_store.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sqlite3.h>
#include <unistd.h>

static constexpr int patience_ms = 200; // with a person who looks into the file

// --- Statements -----------------------------------------------------------------------------------------------------

using statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>;

static statement prepare(sqlite3 *base, std::string_view sql)
{
    sqlite3_stmt *made = nullptr;
    sqlite3_prepare_v2(base, sql.data(), static_cast<int>(sql.size()), &made, nullptr);
    return {made, sqlite3_finalize};
}

static bool bind(const statement &to, int number, std::string_view text)
{
    return sqlite3_bind_text(to.get(), number, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT) ==
           SQLITE_OK;
}

static bool bind(const statement &to, int number, int value)
{
    return sqlite3_bind_int(to.get(), number, value) == SQLITE_OK;
}

// A statement that begins with the unit's line and place.
static statement prepare_for(sqlite3 *base, std::string_view sql, std::string_view port, int pdu)
{
    statement made = prepare(base, sql);
    if (made && !(bind(made, 1, port) && bind(made, 2, pdu)))
        made.reset();
    return made;
}

static std::string column_text(const statement &from, int column)
{
    const unsigned char *text = sqlite3_column_text(from.get(), column);
    size_t size = static_cast<size_t>(sqlite3_column_bytes(from.get(), column));
    return text ? std::string(reinterpret_cast<const char *>(text), size) : std::string();
}

// --- The file -------------------------------------------------------------------------------------------------------

flash_store::~flash_store()
{
    sqlite3_close(base_);
}

// A link in its place is not followed, and nobody else reads it.
static bool make_file(const std::string &path)
{
    int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    return file >= 0 && close(file) == 0;
}

// Synchronous in full, so that a save that was told is on the disk. Rows keep the order in which they were put in.
bool flash_store::create_table(std::string *cause)
{
    bool made = run("PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL;"
                    "CREATE TABLE IF NOT EXISTS setting (port TEXT NOT NULL, pdu INTEGER NOT NULL,"
                    " part TEXT NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL,"
                    " UNIQUE (port, pdu, part, name));");
    if (!made)
        *cause = sqlite3_errmsg(base_);
    return made;
}

bool flash_store::open(const std::string &path, std::string *fault)
{
    std::string cause;
    if (!make_file(path))
        cause = strerror(errno);
    else if (sqlite3_open_v2(path.c_str(), &base_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        cause = base_ ? sqlite3_errmsg(base_) : "out of memory";
    else if (sqlite3_busy_timeout(base_, patience_ms); create_table(&cause))
        return true;
    *fault = "cannot open '" + path + "': " + cause;
    return false;
}

bool flash_store::run(const char *sql)
{
    return sqlite3_exec(base_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// --- What units save ------------------------------------------------------------------------------------------------

bool flash_store::write(std::string_view port, int pdu, const configuration &settings)
{
    statement remove = prepare_for(base_, "DELETE FROM setting WHERE port = ? AND pdu = ?", port, pdu);
    if (!remove || sqlite3_step(remove.get()) != SQLITE_DONE)
        return false;
    statement add = prepare_for(base_, "INSERT INTO setting VALUES (?, ?, ?, ?, ?)", port, pdu);
    if (!add)
        return false;
    for (const setting &one : settings) {
        bool added = bind(add, 3, one.part) && bind(add, 4, one.name) && bind(add, 5, one.value) &&
                     sqlite3_step(add.get()) == SQLITE_DONE;
        if (!added)
            return false;
        sqlite3_reset(add.get());
    }
    return true;
}

bool flash_store::save(std::string_view port, int pdu, const configuration &settings)
{
    if (!base_ || !run("BEGIN IMMEDIATE"))
        return false;
    if (write(port, pdu, settings) && run("COMMIT"))
        return true;
    run("ROLLBACK");
    return false;
}

bool flash_store::erase(std::string_view port, int pdu)
{
    return save(port, pdu, {});
}

std::optional<configuration> flash_store::load(std::string_view port, int pdu) const
{
    if (!base_)
        return std::nullopt;
    statement rows = prepare_for(
        base_, "SELECT part, name, value FROM setting WHERE port = ? AND pdu = ? ORDER BY rowid", port, pdu);
    configuration read;
    int code = rows ? SQLITE_ROW : SQLITE_ERROR;
    while (rows && (code = sqlite3_step(rows.get())) == SQLITE_ROW)
        read.push_back({column_text(rows, 0), column_text(rows, 1), column_text(rows, 2)});
    return code == SQLITE_DONE && !read.empty() ? std::optional(std::move(read)) : std::nullopt;
}
