#include "lib/ipc/ipc_list.h"

#include <cstdlib>

namespace {

void unlink_node(ipc_list *list, ipc_list_node *node) {
    (node->prev != nullptr ? node->prev->next : list->head) = node->next;
    (node->next != nullptr ? node->next->prev : list->tail) = node->prev;
    --list->count;
}

} // namespace

bool ipc_list_add(ipc_list *list, void *data) {
    if (data == nullptr) {
        return false;
    }
    auto *node = static_cast<ipc_list_node *>(std::malloc(sizeof(ipc_list_node)));
    if (node == nullptr) {
        return false;
    }
    *node = {nullptr, list->tail, data};
    (list->tail != nullptr ? list->tail->next : list->head) = node;
    list->tail = node;
    ++list->count;
    return true;
}

bool ipc_list_delete(ipc_list *list, const void *data) {
    for (ipc_list_node *node = list->head; node != nullptr; node = node->next) {
        if (node->data == data) {
            unlink_node(list, node);
            std::free(node);
            return true;
        }
    }
    return false;
}

void ipc_list_delete_all(ipc_list *list) {
    ipc_list_node *next = nullptr;
    for (ipc_list_node *node = list->head; node != nullptr; node = next) {
        next = node->next;
        std::free(node->data);
        std::free(node);
    }
    *list = {nullptr, nullptr, 0};
}
