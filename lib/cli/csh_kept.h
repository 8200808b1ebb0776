#pragma once

#include "lib/cli/csh_message.h"

#include <cstdint>
#include <sys/socket.h>
#include <sys/un.h>

// Replies that the shell's server keeps back while the work of their lines goes on beside it.

/// Who has sent a message.
struct csh_sender {
    sockaddr_un address;
    socklen_t length;
    ucred user; // its process, as this one sees it
};

struct csh_kept_reply {
    int32_t ticket; // 0: free
    csh_message message;
    csh_sender client;
};

/// Takes a place for a reply. Returns it with its ticket set, null when all are taken.
csh_kept_reply *csh_kept_take();

/// The reply of a ticket; null when there is none.
csh_kept_reply *csh_kept_find(int32_t ticket);

/// Frees a place.
void csh_kept_free(csh_kept_reply *kept);

/// Calls `tell` with the ticket of each reply of a client's process: it may have sent lines without waiting.
void csh_kept_of_client(int32_t pid, void (*tell)(int32_t ticket));

/// Calls `tell` with the ticket of each reply whose client's process is no more.
void csh_kept_orphans(void (*tell)(int32_t ticket));
