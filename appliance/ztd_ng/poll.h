// One poll of the control tree.
#pragma once

#include "appliance/ztd_ng/chain_status.h"

struct vrn_tsapi_handle;

// Reads everything that the segment publishes into `chain`. What a node has is asked anew each time (one listing a
// node) and only what it has is read. A refusal means that the value is not there. False where an exchange broke off:
// `chain` is then incomplete, nothing of it to be published, and the handle wants a new login.
bool poll_chain(vrn_tsapi_handle *handle, chain_status &chain);
