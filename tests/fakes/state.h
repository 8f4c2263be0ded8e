// What the parts of the fake platform share with each other and keep from the tests.
#pragma once

#include "tests/fakes/fakes.h"

namespace fakes {

void record_event(std::string text);
void record_exchange(const std::string &text); // an event "send ..." too

void reset_tree();
void reset_segment();
void reset_session();
void reset_libc();
void forget_session(); // log and tap
void forget_libc();    // sleeps

size_t live_transactions();
vrn_tsapi_handle *fake_handle();
ci_session *open_session();

// What `sleep` and `usleep` tell the segment.
void segment_slept();

} // namespace fakes
