#pragma once

#include <histedit.h>

// The lines of earlier sessions, in "~/.zopsh_history", readable by its owner alone.

/// Reads them into a history. None when there is no such file, or it is not a plain file of this user's.
void history_read(History *history);

/// Writes them, with those of this session. What fails is not told: nobody waits for it.
void history_write(History *history);
