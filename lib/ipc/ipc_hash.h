#pragma once

#include <cstdint>

// A chained hash table of pointers to the user's records. Its size is fixed at creation. Not locked.

/// Buckets of a table that asks for none.
constexpr uint32_t k_ipc_hash_default_size = 1024;

/// The key of a record; wide enough for a pointer's value. Equal records have equal keys.
using ipc_hash_key_fn = uintptr_t (*)(const void *data);

/// Whether two records are the same entry.
using ipc_hash_compare_fn = bool (*)(const void *a, const void *b);

/// Makes the record that is to be stored for a record looked up; null when it cannot.
using ipc_hash_alloc_fn = void *(*)(const void *data);

struct ipc_hash_entry {
    ipc_hash_entry *next;
    uintptr_t key;
    void *data;
};

struct ipc_hash {
    ipc_hash_entry **index; // `size` chains
    uint32_t size;
    ipc_hash_key_fn key;
    ipc_hash_compare_fn compare;
    uint32_t count; // entries in all chains
};

/// Allocates an empty table of `size` buckets, 0 for the default, or returns null when memory is out.
/// It is for the life of the process.
[[nodiscard]] ipc_hash *ipc_hash_new(uint32_t size, ipc_hash_key_fn key, ipc_hash_compare_fn compare);

/// Looks for the record equal to `data` in the chain of its key modulo `size` and returns it. When there is
/// none and `alloc` is given, inserts what `alloc(data)` returns at the head of the chain and returns that.
/// Null when there is no match and `alloc` is null, when `alloc` returns null, or when memory is out (`alloc`
/// is then not called).
void *ipc_hash_get(ipc_hash *hash, const void *data, ipc_hash_alloc_fn alloc);
