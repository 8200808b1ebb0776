#pragma once

// The start that a command has asked for.

/// Starts this process or the machine anew if that has been asked for. `arguments` are the process's own,
/// with a null at the end. Returns when nothing has been asked for, or the machine's restart has begun or
/// failed.
void restart_if_asked(char **arguments);
