#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t k_csh_clients_max = 10;

/// Registers a client of the shell by its process id; one that is registered keeps its one place. When all
/// places are taken, those of processes that are gone are freed first, with their sockets and output files.
/// Returns false when none is free even then.
[[nodiscard]] bool csh_client_register(int32_t pid);
