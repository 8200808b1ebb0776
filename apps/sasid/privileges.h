#pragma once

#include <string>

/// Gives up what the server does not need once it holds its device: becomes `user` with that user's groups,
/// or, when that is empty, stays who it is without any capability. In neither case will a program that it
/// might start have more. Before any thread is started. Returns false and says why in `error`; the process is
/// then to end.
[[nodiscard]] bool sasid_drop_privileges(const std::string &user, std::string &error);

/// Tells the service manager, when one has started this process, that it is ready. What cannot be told is
/// ignored: the server works without.
void sasid_tell_ready();
