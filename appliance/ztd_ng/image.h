// The image of the segment: turns what a poll found into records, and keeps them true while others read along without a
// lock. A value is one aligned store; a bit is cleared before its value goes and set after it came; a text keeps a NUL
// in the last byte of its field. A record is filled before a pointer leads to it, keeps its own `next` when it is taken
// out of its list, and is never used for anything but the unit or port it was made for: who stands on it walks on
// safely.
#pragma once

#include <cstdint>
#include <map>
#include <new>
#include <span>
#include <utility>

#include "appliance/ztd_ng/chain_status.h"

// The memory has no room for the chain; the image is then to be made anew in a larger one.
struct image_full : std::bad_alloc {
    const char *what() const noexcept override { return "the segment has no room for the chain"; }
};

class status_image {
public:
    // Takes `memory`, which holds zeros or what an earlier image left there, and whose first byte readers see at
    // shm_base_address. The ready byte is cleared. What an earlier image left stays as it is, for those who still read
    // it, and new records are put behind it; where that is more than half of the memory they begin at its start again.
    explicit status_image(std::span<std::byte> memory);

    // Makes the image say what `chain` says and sets the ready byte. Throws image_full.
    //
    // The numbers of the records differ from the tree's. The units of a tree port named "local" stand on two records:
    // the appliance's own under the port's id and that name, with their own numbers, and the units chained behind it,
    // like those of any other port, under the port's number plus 1 with their numbers less 1. A record's name and id
    // thus belong to one tree port only. A unit whose numbers leave a byte has no record.
    void publish(const chain_status &chain);

    // Clears the ready byte.
    void withdraw();

    // How much of the memory is in use.
    size_t used() const { return used_; }

    // The process whose image lies in `memory`, or 0 where no image does.
    static int32_t owner(std::span<const std::byte> memory);

private:
    struct unit_place {
        shm_pdu *record = nullptr;
        shm_outlet *outlets = nullptr;
        size_t room = 0; // outlets
    };
    struct port_place {
        shm_port *record = nullptr;
        std::map<int, unit_place> units; // by record id
    };
    using port_key = std::pair<int, bool>; // record id, named "local"

    template <class Record> Record *allocate(size_t count);
    uint32_t address(const void *record) const;
    shm_port *place_port(port_key key, const std::string &name, std::span<const unit_status *const> units);
    shm_pdu *place_unit(unit_place &place, int id, const unit_status &unit);
    void place_outlets(unit_place &place, const unit_status &unit);
    template <class Record> void link(uint32_t &head, std::span<Record *const> records);

    std::span<std::byte> memory_;
    size_t used_; // the mark in the memory says the same, but is anybody's to change
    std::map<port_key, port_place> ports_;
};
