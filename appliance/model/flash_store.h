// The flash of all units of a chain: one file that holds what each has saved. A save is whole or has not happened,
// whenever the process that makes it may die.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "appliance/model/settings.h"

struct sqlite3;

class flash_store {
public:
    flash_store() = default;
    ~flash_store();
    flash_store(const flash_store &) = delete;
    flash_store &operator=(const flash_store &) = delete;

    // Opens the file, or makes an empty one for its owner alone. Once, before anything else; false, with `fault` as
    // "cannot open 'PATH': " and the cause, where that can't be.
    bool open(const std::string &path, std::string *fault);

    // A unit is known by the name of its line and its place there. Each is false where the file can't be written; what
    // was saved before stands then.
    bool save(std::string_view port, int pdu, const configuration &settings);
    bool erase(std::string_view port, int pdu);

    // What the unit saved last, in that order; nothing where it saved nothing or the file can't be read.
    std::optional<configuration> load(std::string_view port, int pdu) const;

private:
    bool create_table(std::string *cause);
    bool run(const char *sql);
    bool write(std::string_view port, int pdu, const configuration &settings);

    sqlite3 *base_ = nullptr;
};
