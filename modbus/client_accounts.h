#pragma once

#include <cstdint>

// Whom each connection's child serves and how it has ended, for the counters and the system log; kept by the
// listening process for the children it has not reaped.

/// Opens an account for the client on `socket`, who is about to be given a process, and counts it as
/// accepted. Returns the account's number, which is the child's place among the counters, or -1 when there
/// are k_tcp_clients_max already.
int32_t client_account_open(int socket);

/// Puts the account in the name of the process that the fork gave; a failed fork ends it.
void client_account_name(int32_t account, int32_t process_id);

/// Ends the account of a process that was reaped with `status`, as waitpid gives it: counts how the
/// connection ended, and tells the system log, with the client's address, of a process that did not end by
/// itself. Does nothing for a process without an account.
void client_account_close(int32_t process_id, int status);
