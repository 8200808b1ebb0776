#pragma once

#include "lib/base/invariant.h"
#include "lib/ipc/ipc_thread.h"

// What the files of the scheduler share: its invariants and the moves of a record between its lists.

/// The expression as the board's log is searched for it.
#define THREAD_INVARIANT(condition, expression)                                                              \
    INVARIANT_AT(condition, expression, "ipc_thread", __LINE__, static_cast<const char *>(__func__))
#define MASTER_INVARIANT(m) THREAD_INVARIANT((m) != nullptr, "m != ((void *)0)")

/// Links a task that is on no list before `next`, null for the list's end.
inline void thread_list_insert(thread_list *list, thread *next, thread *task) {
    thread *prev = next != nullptr ? next->prev : list->tail;
    task->next = next;
    task->prev = prev;
    (prev != nullptr ? prev->next : list->head) = task;
    (next != nullptr ? next->prev : list->tail) = task;
    ++list->count;
}

/// Links a task that is on no list at the end.
inline void thread_list_append(thread_list *list, thread *task) { thread_list_insert(list, nullptr, task); }

/// Unlinks a task. One that is not linked here has been fetched, or is the fetched copy: unlinking it would
/// cut the list.
inline void thread_list_remove(thread_list *list, thread *task) {
    thread **from_prev = task->prev != nullptr ? &task->prev->next : &list->head;
    THREAD_INVARIANT(*from_prev == task, "the task is on its list");
    *from_prev = task->next;
    (task->next != nullptr ? task->next->prev : list->tail) = task->prev;
    task->next = nullptr;
    task->prev = nullptr;
    --list->count;
}

/// Moves a task from `list` to the end of its master's ready list.
inline void thread_make_ready(thread_list *list, thread *task) {
    thread_list_remove(list, task);
    task->type = k_thread_ready;
    thread_list_append(&task->master->ready, task);
}

/// Moves a task from `list` to its master's unuse list.
inline void thread_make_unused(thread_list *list, thread *task) {
    thread_list_remove(list, task);
    task->type = k_thread_unused;
    thread_add_unuse(task->master, task);
}
