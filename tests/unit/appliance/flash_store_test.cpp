// The file that units save into: what it keeps, whose it is, and that a process that is killed leaves it whole.

#include "appliance/model/flash_store.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/unit/appliance/morvd_desk.h"

static const configuration some = {
    {"", "id", "rack1"}, {"", "buzzer", "on"}, {"outlet.1", "name", "web"}, {"outlet.12", "name", ""}};

struct flash_file : testing::Test {
    test_folder folder;
    std::string path = folder.path + "/flash";
    std::string fault;

    std::unique_ptr<flash_store> opened()
    {
        auto store = std::make_unique<flash_store>();
        EXPECT_TRUE(store->open(path, &fault)) << fault;
        return store;
    }
};

// --- What it keeps --------------------------------------------------------------------------------------------------

TEST_F(flash_file, what_was_saved_is_read_back_in_its_order)
{
    auto store = opened();
    EXPECT_TRUE(store->save("local", 1, some));
    EXPECT_EQ(store->load("local", 1), some);
}

TEST_F(flash_file, unit_that_saved_nothing_has_nothing)
{
    auto store = opened();
    EXPECT_EQ(store->load("local", 1), std::nullopt);
    store->save("local", 1, some);
    EXPECT_EQ(store->load("local", 2), std::nullopt);
    EXPECT_EQ(store->load("far", 1), std::nullopt);
}

TEST_F(flash_file, save_takes_the_place_of_the_one_before)
{
    auto store = opened();
    store->save("local", 1, some);
    EXPECT_TRUE(store->save("local", 1, {{"", "id", "new"}}));
    EXPECT_EQ(store->load("local", 1), (configuration{{"", "id", "new"}}));
}

TEST_F(flash_file, erased_unit_has_nothing_and_the_others_keep_theirs)
{
    auto store = opened();
    store->save("local", 1, some);
    store->save("local", 2, some);
    EXPECT_TRUE(store->erase("local", 1));
    EXPECT_EQ(store->load("local", 1), std::nullopt);
    EXPECT_EQ(store->load("local", 2), some);
    EXPECT_TRUE(store->erase("local", 1));
}

TEST_F(flash_file, texts_may_hold_any_byte)
{
    auto store = opened();
    const configuration odd = {{"", "id", "a'b\"; DROP TABLE setting; --"}, {"outlet.1", "name", "b\xc3\xbcro \xff"}};
    EXPECT_TRUE(store->save("l'ocal", 1, odd));
    EXPECT_EQ(store->load("l'ocal", 1), odd);
}

TEST_F(flash_file, next_process_finds_what_was_saved)
{
    opened()->save("local", 1, some);
    EXPECT_EQ(opened()->load("local", 1), some);
}

TEST_F(flash_file, save_that_fails_in_the_middle_leaves_the_one_before)
{
    auto store = opened();
    store->save("local", 1, some);
    EXPECT_FALSE(store->save("local", 1, {{"", "id", "new"}, {"", "id", "twice"}}));
    EXPECT_EQ(store->load("local", 1), some);
    EXPECT_TRUE(store->save("local", 1, {{"", "id", "new"}}));
}

TEST_F(flash_file, store_that_is_not_open_saves_and_has_nothing)
{
    flash_store store;
    EXPECT_FALSE(store.save("local", 1, some));
    EXPECT_FALSE(store.erase("local", 1));
    EXPECT_EQ(store.load("local", 1), std::nullopt);
}

// --- The file -------------------------------------------------------------------------------------------------------

TEST_F(flash_file, file_is_its_owners_alone)
{
    auto store = opened();
    store->save("local", 1, some);
    struct stat about;
    ASSERT_EQ(stat(path.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0600u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1); // nothing beside it
}

TEST_F(flash_file, link_in_its_place_is_not_followed)
{
    symlink((folder.path + "/elsewhere").c_str(), path.c_str());
    flash_store store;
    EXPECT_FALSE(store.open(path, &fault));
    EXPECT_EQ(fault, "cannot open '" + path + "': Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/elsewhere"));
}

TEST_F(flash_file, folder_that_is_not_there_is_told)
{
    flash_store store;
    EXPECT_FALSE(store.open(folder.path + "/no/flash", &fault));
    EXPECT_EQ(fault, "cannot open '" + folder.path + "/no/flash': No such file or directory");
}

TEST_F(flash_file, file_of_another_kind_is_told_and_kept)
{
    std::ofstream(path) << std::string(8192, 'x');
    flash_store store;
    EXPECT_FALSE(store.open(path, &fault));
    EXPECT_EQ(fault, "cannot open '" + path + "': file is not a database");
    EXPECT_EQ(std::filesystem::file_size(path), 8192u);
}

// --- Death in the middle --------------------------------------------------------------------------------------------

// All settings of one generation, enough of them for several pages of the file.
static configuration generation(int number)
{
    configuration made;
    for (int outlet = 0; outlet < 128; outlet++)
        made.push_back({"outlet." + std::to_string(outlet), "name", std::string(60, 'x') + std::to_string(number)});
    return made;
}

// Saves one generation behind the other until it is killed, and tells each when it is saved.
[[noreturn]] static void save_for_ever(const std::string &path, int first, int told)
{
    flash_store store;
    std::string fault;
    if (!store.open(path, &fault))
        _exit(2);
    for (int number = first;; number++)
        if (!store.save("local", 1, generation(number)) || write(told, &number, sizeof number) != sizeof number)
            _exit(3);
}

// Kills such a process once it has told of some generations. The last one that it told of.
static int kill_a_saver(const std::string &path, int first, int generations)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        save_for_ever(path, first, ends[1]);
    }
    close(ends[1]);
    int last = 0;
    for (int count = 0; count < generations; count++)
        EXPECT_EQ(read(ends[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "ended by itself";
    while (read(ends[0], &last, sizeof last) == static_cast<ssize_t>(sizeof last)) {
    }
    close(ends[0]);
    return last;
}

TEST_F(flash_file, hundred_kills_in_the_middle_of_a_save_lose_nothing_saved_before)
{
    opened()->save("local", 2, some);
    int in_the_middle = 0;
    int last = 0;
    for (int kills = 0; kills < 100; kills++) {
        last = kill_a_saver(path, last + 1, kills % 3 + 1);
        in_the_middle += std::filesystem::exists(path + "-journal"); // what only a save under way has

        auto store = opened();
        std::optional<configuration> found = store->load("local", 1);
        ASSERT_TRUE(found) << kills;
        bool next = *found == generation(last + 1); // saved, and killed before it could say so
        ASSERT_TRUE(next || *found == generation(last)) << kills << ", " << last;
        ASSERT_EQ(store->load("local", 2), some) << kills;
        last += next;
    }
    EXPECT_GT(in_the_middle, 0);
}
