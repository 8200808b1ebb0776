#include "lib/ipc/ipc_hash.h"

#include <cstdlib>

ipc_hash *ipc_hash_new(uint32_t size, ipc_hash_key_fn key, ipc_hash_compare_fn compare) {
    const uint32_t buckets = size != 0 ? size : k_ipc_hash_default_size;
    auto *hash = static_cast<ipc_hash *>(std::malloc(sizeof(ipc_hash)));
    auto **index = static_cast<ipc_hash_entry **>(std::calloc(buckets, sizeof(void *)));
    if (hash == nullptr || index == nullptr) {
        std::free(hash);
        std::free(index);
        return nullptr;
    }
    *hash = {index, buckets, key, compare, 0};
    return hash;
}

void *ipc_hash_get(ipc_hash *hash, const void *data, ipc_hash_alloc_fn alloc) {
    const uintptr_t key = hash->key(data);
    ipc_hash_entry **chain = &hash->index[key % hash->size];
    for (const ipc_hash_entry *entry = *chain; entry != nullptr; entry = entry->next) {
        if (entry->key == key && hash->compare(entry->data, data)) {
            return entry->data;
        }
    }
    if (alloc == nullptr) {
        return nullptr;
    }
    // The entry comes first, so that nothing the user made is left over when memory is out.
    auto *added = static_cast<ipc_hash_entry *>(std::malloc(sizeof(ipc_hash_entry)));
    void *stored = added != nullptr ? alloc(data) : nullptr;
    if (stored == nullptr) {
        std::free(added);
        return nullptr;
    }
    *added = {*chain, key, stored};
    *chain = added;
    ++hash->count;
    return stored;
}
