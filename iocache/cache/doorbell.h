// Posting a request: the opcode travels beside the doorbell, so that one for which nobody waits (pre-write) is served
// without a look at the block that the client may be filling for its next request.
#pragma once

#include <cstdint>

namespace iocache::cache {

enum class posting { wait, go_on };

// Requests are served in the caller; there is no cache process.
bool in_line();

// Posts the opcode; the slots of parg are filled. In in-line mode serves it at once. 0, or -255 when there is no cache
// process, or it ended before it met the client.
int32_t post(int32_t opcode, posting how);

// Cache side: the opcode of the ring just heard.
int32_t take_posted_opcode();
// Cache side: behind the rendezvous of this request the client clears the tiles that are left to it.
bool client_clears();
// Cache side: a client is waiting; background work gives way.
bool request_is_waiting();
// Cache side: the waited request is done.
void meet_client();

}  // namespace iocache::cache
