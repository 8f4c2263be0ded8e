// A simulated chain that is polled as the monitor does it: the control daemon in a thread of its own, and a way to it.
#pragma once

#include <cstdlib>
#include <memory>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

#include "appliance/morvd/endpoint.h"
#include "appliance/morvd/server.h"
#include "appliance/ztd_ng/poll.h"
#include "ci.h"
#include "tests/unit/appliance/morvd_desk.h"
#include "vrn_tsapi.h"

struct polled_desk : testing::Test {
    explicit polled_desk(std::string_view text) : desk(text)
    {
        std::string fault;
        EXPECT_TRUE(open_endpoint(folder.path + "/run", &place, &fault)) << fault;
        desk.simulated.clock.driven = 0;
        daemon = std::make_unique<server>(place.listener, desk.served, desk.simulated.clock, [](int, uid_t *user) {
            *user = 0;
            return true;
        });
        setenv("ZT_ROOT", folder.path.c_str(), 1);
        setenv("ZT_CI_USER", "monitor", 1);
        setenv("ZT_CI_SID", "1", 1);
        run();
        EXPECT_EQ(vrn_tsapi_init_with_vrnaaa_session(&handle, ci_init(nullptr)), 0);
    }
    ~polled_desk() override
    {
        vrn_tsapi_destroy(handle);
        pause();
        for (const char *name : {"ZT_ROOT", "ZT_CI_USER", "ZT_CI_SID"})
            unsetenv(name);
        close(wake);
        close_endpoint(place);
    }

    void run()
    {
        thread = std::thread([this] {
            while (!daemon->turn(-1, wake)) {
            }
        });
    }
    // The daemon keeps its connections and does nothing, so that its desk may be touched.
    void pause()
    {
        EXPECT_EQ(eventfd_write(wake, 1), 0);
        thread.join();
        eventfd_t woken;
        EXPECT_EQ(eventfd_read(wake, &woken), 0);
    }
    void at(int64_t milliseconds)
    {
        pause();
        desk.simulated.clock.driven = milliseconds;
        run();
    }

    // The units of the only line, as the tree has them now.
    const std::vector<unit_status> &polled()
    {
        EXPECT_TRUE(poll_chain(handle, chain));
        return chain.at(0).units;
    }

    test_folder folder;
    test_desk desk;
    endpoint place;
    int wake = eventfd(0, EFD_CLOEXEC);
    std::unique_ptr<server> daemon;
    std::thread thread;
    vrn_tsapi_handle *handle = nullptr;
    chain_status chain;
};

inline int64_t value_of(const elecmon_status &status, uint32_t mask)
{
    for (size_t i = 0; i < value_count; i++)
        if (shm_values[i].mask == mask)
            return status.values[i];
    return -1;
}
