#pragma once

#include <cstdint>

// A doubly linked list of pointers to data that others own, unless a call says otherwise. Not locked.

struct ipc_list_node {
    ipc_list_node *next;
    ipc_list_node *prev;
    void *data;
};

/// A list, which stands inside another record; all zero is an empty one.
struct ipc_list {
    ipc_list_node *head;
    ipc_list_node *tail;
    uint32_t count;
};

/// Appends `data` at the tail. Returns true when it was added; null data is ignored, and that and a lack of
/// memory return false.
bool ipc_list_add(ipc_list *list, void *data);

/// Unlinks and frees the first node that holds `data`; the data itself is left to the caller. Returns whether
/// there was one.
bool ipc_list_delete(ipc_list *list, const void *data);

/// Frees every node and, with free(), its data. The list stays and is empty.
void ipc_list_delete_all(ipc_list *list);
