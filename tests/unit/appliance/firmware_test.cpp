// Firmware images: what is taken for one, how one is kept, and what the daemon does with it.

#include "appliance/model/firmware.h"

#include <filesystem>
#include <fstream>

#include "tests/unit/appliance/morvd_desk.h"

static constexpr char done[] = "+OK\r\n";
static constexpr char no_such_part[] = "-ERR 15 no such part of a unit\r\n";
static constexpr char bad_image[] = "-ERR 20 no sound firmware image\r\n";

static std::string number_bytes(uint32_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

// An image whose payload is "firmware"; the checksum is of version and payload, as another program counted it.
static std::string image_of(std::string version, uint32_t checksum)
{
    version.resize(48);
    return "ZTIMAGE1" + number_bytes(8) + number_bytes(checksum) + version + "firmware";
}

static const std::string sound = image_of("3.0.1", 0xA02AB3DF);

struct firmware_file : testing::Test {
    test_folder folder;
    std::string path = folder.path + "/image";
    firmware read;
    std::string fault;

    void put(const std::string &bytes) { std::ofstream(path, std::ios::binary) << bytes; }
    bool take(const std::string &bytes)
    {
        put(bytes);
        return read_firmware(path, &read, &fault);
    }
    static std::string content(const std::string &file)
    {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(firmware_file, sound_image_is_taken_with_its_version)
{
    ASSERT_TRUE(take(sound)) << fault;
    EXPECT_EQ(read.version, "3.0.1");
    EXPECT_EQ(read.image, sound);
}

TEST_F(firmware_file, any_changed_byte_is_found)
{
    for (size_t at = 0; at < sound.size(); at++) {
        std::string altered = sound;
        altered[at] = static_cast<char>(altered[at] ^ 1);
        EXPECT_FALSE(take(altered)) << at;
    }
}

TEST_F(firmware_file, any_missing_end_and_any_longer_one_is_found)
{
    for (size_t size = 0; size < sound.size(); size++)
        EXPECT_FALSE(take(sound.substr(0, size))) << size;
    EXPECT_FALSE(take(sound + "x"));
    EXPECT_EQ(fault, "it is not as long as its header says");
}

TEST_F(firmware_file, version_is_one_printable_word)
{
    EXPECT_FALSE(take(image_of("bad version", 0xFE6044A5)));
    EXPECT_EQ(fault, "it has no version");
    EXPECT_FALSE(take(image_of("", 0x6306ADE4)));
    EXPECT_EQ(fault, "it has no version");
}

TEST_F(firmware_file, what_is_no_file_is_neither_followed_nor_waited_for)
{
    put(sound);
    std::string link = folder.path + "/link";
    std::filesystem::create_symlink(path, link);
    EXPECT_FALSE(read_firmware(link, &read, &fault));
    EXPECT_FALSE(read_firmware(folder.path, &read, &fault));
    EXPECT_EQ(fault, "it is no file of an image's size");
    EXPECT_FALSE(read_firmware(folder.path + "/none", &read, &fault));
    EXPECT_EQ(fault, "it can't be opened: No such file or directory");
}

TEST_F(firmware_file, stored_image_takes_the_place_of_the_old_one)
{
    ASSERT_TRUE(take(sound));
    std::string store = folder.path + "/store";
    std::ofstream(store) << "old";
    ASSERT_TRUE(store_firmware(store, read, &fault)) << fault;
    EXPECT_EQ(content(store), sound);
    EXPECT_FALSE(std::filesystem::exists(store + ".new"));
}

TEST_F(firmware_file, image_that_can_not_be_stored_leaves_the_old_one)
{
    ASSERT_TRUE(take(sound));
    std::string store = folder.path + "/store";
    std::ofstream(store) << "old";
    std::filesystem::create_directory(store + ".new");
    EXPECT_FALSE(store_firmware(store, read, &fault));
    EXPECT_EQ(fault, "it can't be stored: Is a directory");
    EXPECT_EQ(content(store), "old");
}

// --- The daemon ------------------------------------------------------------------------------------------------------

static constexpr char upgradable_chain[] = R"(
[[port]]
name = "local"
[[port.unit]]
version = "1.0"
upgrade = true
reboot_time = 1000
[[port.unit]]
version = "1.0"
upgrade = true
reboot_time = 1000
flash_time = 1000
[[port]]
name = "remote"
[[port.unit]]
id = "far"
version = "1.0"
upgrade = true
[[port.unit]]
version = "1.0"
)";

struct upgrade : firmware_file {
    test_desk desk{upgradable_chain};

    upgrade()
    {
        desk.simulated.clock.driven = 0;
        desk.simulated.image_file = path;
        put(sound);
    }
    std::string versions()
    {
        std::string all;
        for (const port_line &port : desk.simulated.units.ports)
            for (const unit &one : port.units)
                all += one.version.value_or("-") + " ";
        return all;
    }
    std::string ask(const std::string &list) { return desk.ask({"admin", "power.port.1.upgrade", list}); }
};

TEST_F(upgrade, units_that_take_firmware_list_it)
{
    EXPECT_NE(desk.ask({"mlist", "power.port.1.pdu.2"}).find(bulk("upgrade")), std::string::npos);
    EXPECT_EQ(desk.ask({"mlist", "power.port.2.pdu.2"}).find(bulk("upgrade")), std::string::npos);
    EXPECT_EQ(test_desk().ask({"admin", "power.port.1.upgrade", "1"}), "-ERR 8 no such path\r\n");
}

TEST_F(upgrade, unit_of_the_list_shows_the_new_version_and_the_others_the_old_one)
{
    EXPECT_EQ(ask("2"), done);
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.2.version"}), bulk("3.0.1"));
    EXPECT_EQ(versions(), "1.0 3.0.1 1.0 1.0 ");
}

TEST_F(upgrade, numbers_count_along_the_chain_whatever_port_is_asked)
{
    EXPECT_EQ(ask("1,2-3"), done);
    EXPECT_EQ(versions(), "3.0.1 3.0.1 3.0.1 1.0 ");
}

TEST_F(upgrade, unit_is_found_by_its_id)
{
    EXPECT_EQ(ask("far"), done);
    EXPECT_EQ(versions(), "1.0 1.0 3.0.1 1.0 ");
}

TEST_F(upgrade, unit_is_told_alone_as_well)
{
    EXPECT_EQ(desk.ask({"admin", "power.port.2.pdu.1.upgrade"}), done);
    EXPECT_EQ(versions(), "1.0 1.0 3.0.1 1.0 ");
    EXPECT_EQ(desk.ask({"admin", "power.port.2.pdu.1.upgrade", "x"}), "-ERR 6 bad arguments\r\n");
}

TEST_F(upgrade, list_with_a_unit_that_can_not_be_upgraded_upgrades_none)
{
    EXPECT_EQ(ask("2,4"), no_such_part);
    EXPECT_EQ(ask("2-9"), no_such_part);
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.reboot"}), done);
    EXPECT_EQ(ask("1-2"), no_such_part);
    EXPECT_EQ(versions(), "1.0 1.0 1.0 1.0 ");
}

TEST_F(upgrade, what_is_no_list_is_refused)
{
    for (const char *list : {"", ",", "2,", "0", "3-2", "-2", "2-", "x", "1 2", "1-2-3"})
        EXPECT_EQ(ask(list), "-ERR 10 bad value\r\n") << list;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.upgrade"}), "-ERR 6 bad arguments\r\n");
    EXPECT_EQ(versions(), "1.0 1.0 1.0 1.0 ");
}

TEST_F(upgrade, refused_image_leaves_the_old_version)
{
    put(sound.substr(0, sound.size() - 1));
    EXPECT_EQ(ask("2"), bad_image);
    std::filesystem::remove(path);
    EXPECT_EQ(ask("2"), bad_image);
    EXPECT_EQ(versions(), "1.0 1.0 1.0 1.0 ");
}

TEST_F(upgrade, own_unit_runs_what_was_written_for_it_from_its_next_start)
{
    desk.simulated.own_image_file = path;
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.2.reboot"}), done);
    desk.simulated.clock.driven = 1000;
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.version"}), bulk("1.0"));
    EXPECT_EQ(desk.ask({"admin", "power.port.1.pdu.1.reboot"}), done);
    desk.simulated.clock.driven = 2000;
    EXPECT_EQ(desk.ask({"info", "power.port.1.pdu.1.version"}), bulk("3.0.1"));
    EXPECT_EQ(versions(), "3.0.1 1.0 1.0 1.0 ");
}

TEST_F(upgrade, own_unit_keeps_its_version_where_nothing_sound_was_written)
{
    desk.simulated.own_image_file = path;
    put("no image");
    start_own_unit(desk.simulated);
    EXPECT_EQ(versions(), "1.0 1.0 1.0 1.0 ");
    put(sound);
    start_own_unit(desk.simulated);
    EXPECT_EQ(versions(), "3.0.1 1.0 1.0 1.0 ");
}
