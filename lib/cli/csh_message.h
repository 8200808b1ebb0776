#pragma once

#include "lib/cli/cli_session.h"

#include <cstddef>
#include <cstdint>

// The datagram between a shell client and the shell server, in the machine's own byte order. The same buffer
// is the request and, after processing, the reply.

constexpr const char *k_csh_server_path = "/tmp/csh_serv";
constexpr const char *k_csh_client_format = "/tmp/csh_client_%d"; // with the client's process id
constexpr const char *k_csh_output_format = "/tmp/ttyout-%d";     // the same, or a thread's id

constexpr size_t k_csh_text_size = 512;

struct csh_message {
    int32_t type; // request type, then reply code
    int32_t pid;  // of the client
    uint32_t reserved_8;
    int32_t flag;        // type 7: 1 for the first form, else the second
    cli_session session; // type 7 stores its result in the first word
    uint32_t reserved_44;
    int32_t result1;            // type 4: last-line status; types 10 to 19: the service's result
    int32_t result2;            // type 4: the handler's result
    char text[k_csh_text_size]; // the line; possibly without a NUL
    int32_t auxiliary;          // types 2 and 9
};
static_assert(sizeof(csh_message) == 572);
static_assert(offsetof(csh_message, flag) == 12);
static_assert(offsetof(csh_message, session) == 16);
static_assert(offsetof(csh_message, result1) == 48);
static_assert(offsetof(csh_message, text) == 56);
static_assert(offsetof(csh_message, auxiliary) == 568);

// Request types.
constexpr int32_t k_csh_register = 2;
constexpr int32_t k_csh_execute = 4;
constexpr int32_t k_csh_give_up = 5; // ends what goes on beside the server for this client
constexpr int32_t k_csh_release_busy = 6;
constexpr int32_t k_csh_query = 7;
constexpr int32_t k_csh_auxiliary = 9; // answered without a reply code: the type stays

// Forms of k_csh_query, by the flag; any other is the second one. The result of the first two is the number
// of lines.
constexpr int32_t k_csh_query_help = 1;
constexpr int32_t k_csh_query_completions = 0;
constexpr int32_t k_csh_query_idle = 4;   // the seconds that a session may be idle; 0: it never ends so
constexpr int32_t k_csh_query_secret = 3; // 1 when the line holds a secret, which no history is to keep

// Reply codes.
constexpr int32_t k_csh_full = 0; // the client table is full, a service failed, or the pid is another's
constexpr int32_t k_csh_done = 1;
constexpr int32_t k_csh_busy = 5;
