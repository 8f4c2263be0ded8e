// The segment itself, under a key of the test's own.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include "appliance/ztd_ng/segment.h"

namespace fs = std::filesystem;

class ztd_segment : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/ztd-test-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder_ = name;
        file_.emplace(folder_ / "ztd_ng");
    }
    void TearDown() override
    {
        if (const int id = existing(); id >= 0)
            shmctl(id, IPC_RMID, nullptr);
        file_.reset();
        fs::remove_all(folder_);
    }
    key_t key() const { return file_->key(); }
    int existing() const { return shmget(key(), 0, 0); }
    shmid_ds state() const
    {
        shmid_ds found{};
        EXPECT_EQ(shmctl(existing(), IPC_STAT, &found), 0);
        return found;
    }
    // Another process that publishes under the key, runs `then` and ends without removing anything.
    pid_t daemon_elsewhere(
        size_t size, const std::function<void()> &then = [] {}) const
    {
        const pid_t child = fork();
        if (child != 0)
            return child;
        const int id = shmget(key(), size, IPC_CREAT | IPC_EXCL | 0600);
        status_image image({static_cast<std::byte *>(shmat(id, nullptr, 0)), size});
        image.publish({});
        then();
        _exit(0);
    }

    fs::path folder_;
    std::optional<key_file> file_;
};

static chain_status chain_of(int outlets)
{
    unit_status unit;
    unit.number = 1;
    unit.local = true;
    for (int i = 1; i <= outlets; i++) {
        outlet_status outlet;
        outlet.number = i;
        unit.outlets.push_back(outlet);
    }
    return {{.number = 1, .name = "local", .device = {}, .units = {unit}}};
}

static const shm_root &root_of(status_publisher &publisher)
{
    return *reinterpret_cast<const shm_root *>(publisher.segment()->memory().data());
}

TEST_F(ztd_segment, key_file_that_was_missing_goes_with_its_maker)
{
    const fs::path path = folder_ / "other";
    {
        key_file made(path);
        EXPECT_TRUE(made.made());
        EXPECT_EQ(made.key(), ftok(path.c_str(), 42));
        key_file found(path);
        EXPECT_FALSE(found.made());
        EXPECT_EQ(found.key(), made.key());
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(ztd_segment, key_file_that_was_there_stays)
{
    const fs::path path = folder_ / "program";
    std::ofstream(path) << "code";
    {
        key_file found(path);
    }
    EXPECT_EQ(fs::file_size(path), 4U);
}

TEST_F(ztd_segment, key_file_in_a_missing_folder_is_refused)
{
    EXPECT_THROW(key_file(folder_ / "none" / "ztd_ng"), std::system_error);
}

TEST_F(ztd_segment, exists_from_the_first_publication_on_and_is_open_to_all)
{
    status_publisher publisher(key());
    EXPECT_EQ(publisher.segment(), nullptr);
    EXPECT_LT(existing(), 0);
    publisher.publish(chain_of(8));

    ASSERT_NE(publisher.segment(), nullptr);
    EXPECT_EQ(existing(), publisher.segment()->id());
    EXPECT_EQ(state().shm_perm.mode & 0777, 0666);
    EXPECT_EQ(state().shm_nattch, 1U);
    EXPECT_TRUE(root_of(publisher).ready & shm_ready_bit);
}

TEST_F(ztd_segment, end_clears_the_ready_byte_for_who_has_it_mapped_and_removes_it)
{
    std::optional<status_publisher> publisher(std::in_place, key());
    publisher->publish(chain_of(1));
    const auto *seen = static_cast<const shm_root *>(shmat(publisher->segment()->id(), nullptr, SHM_RDONLY));
    EXPECT_TRUE(seen->ready & shm_ready_bit);
    publisher.reset();

    EXPECT_FALSE(seen->ready & shm_ready_bit);
    EXPECT_LT(existing(), 0);
    shmdt(seen);
}

TEST_F(ztd_segment, chain_that_outgrows_it_moves_to_a_larger_one_and_the_old_one_is_no_longer_ready)
{
    status_publisher publisher(key(), 0x2000);
    publisher.publish(chain_of(4));
    const int first = publisher.segment()->id();
    const auto *seen = static_cast<const shm_root *>(shmat(first, nullptr, SHM_RDONLY));
    publisher.publish(chain_of(200));

    EXPECT_NE(publisher.segment()->id(), first);
    EXPECT_EQ(existing(), publisher.segment()->id());
    EXPECT_EQ(publisher.segment()->memory().size(), 0x10000U);
    EXPECT_TRUE(root_of(publisher).ready & shm_ready_bit);
    EXPECT_FALSE(seen->ready & shm_ready_bit);
    shmdt(seen);
}

TEST_F(ztd_segment, segment_that_a_dead_daemon_left_goes_on_for_who_has_it_mapped)
{
    const pid_t child = daemon_elsewhere(1 << 20);
    waitpid(child, nullptr, 0);
    const int left = existing();
    ASSERT_GE(left, 0);
    const auto *seen = static_cast<const shm_root *>(shmat(left, nullptr, SHM_RDONLY));
    EXPECT_EQ(seen->ports, 0U);

    status_publisher publisher(key());
    publisher.publish(chain_of(1));
    EXPECT_EQ(publisher.segment()->id(), left);
    EXPECT_NE(seen->ports, 0U);
    EXPECT_TRUE(seen->ready & shm_ready_bit);
    shmdt(seen);
}

TEST_F(ztd_segment, segment_that_a_dead_daemon_left_too_small_is_replaced)
{
    const pid_t child = daemon_elsewhere(0x2000);
    waitpid(child, nullptr, 0);
    const int left = existing();

    status_publisher publisher(key());
    publisher.publish(chain_of(1));
    EXPECT_NE(publisher.segment()->id(), left);
    EXPECT_EQ(state().shm_segsz, 1U << 20);
}

TEST_F(ztd_segment, segment_that_is_no_image_is_replaced)
{
    const int left = shmget(key(), 1 << 20, IPC_CREAT | IPC_EXCL | 0600);
    ASSERT_GE(left, 0);

    status_publisher publisher(key());
    publisher.publish(chain_of(1));
    EXPECT_NE(publisher.segment()->id(), left);
}

TEST_F(ztd_segment, segment_of_a_living_process_is_left_alone)
{
    int told[2], release[2];
    ASSERT_EQ(pipe(told), 0);
    ASSERT_EQ(pipe(release), 0);
    char byte = 'x';
    const pid_t child = daemon_elsewhere(1 << 20, [&] {
        close(release[1]);
        if (write(told[1], &byte, 1) == 1 && read(release[0], &byte, 1) < 0)
            _exit(1);
    });
    ASSERT_EQ(read(told[0], &byte, 1), 1);

    status_publisher publisher(key());
    try {
        publisher.publish(chain_of(1));
        ADD_FAILURE() << "took a living daemon's segment";
    } catch (const std::runtime_error &refusal) {
        EXPECT_EQ(refusal.what(),
                  "the segment of key " + std::to_string(key()) + " is held by process " + std::to_string(child));
    }
    EXPECT_GE(existing(), 0);
    close(release[1]);
    waitpid(child, nullptr, 0);
    for (const int end : {release[0], told[0], told[1]})
        close(end);
}
