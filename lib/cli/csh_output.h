#pragma once

#include <cstdint>
#include <sys/types.h>

// The output files of the shell's clients, between the server and the print routine (cli_output.h).

/// Makes the calling thread the server's: what it prints goes to the file of the current client.
void csh_output_serve();

/// Says whose request is being worked on: a process (0: nobody's) and its user. An output file that belongs
/// neither to that user nor to this process's own is left alone.
void csh_output_set_client(int32_t pid, uid_t user);

/// Empties the current client's output file, and makes it when there is none. Readable by its owner alone: a
/// client of another user than the server's makes its file itself.
void csh_output_truncate();

/// Why something that the server's thread has printed since the last csh_output_truncate is lost, an errno; 0
/// when nothing is.
int32_t csh_output_error();

/// Removes the current client's output file.
void csh_output_remove();
