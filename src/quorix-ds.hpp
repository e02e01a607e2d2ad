// Doubly linked list of untyped element pointers, used as list, stack and queue.
#pragma once

#include "quorix.hpp"

QUORIX_LIST* quorix_list_new(void (*func_free)(void*));
void quorix_list_free(QUORIX_LIST* list);
void quorix_list_free_ref(QUORIX_LIST* list);
void quorix_list_print(const QUORIX_LIST* list);
int quorix_list_is_empty(const QUORIX_LIST* list);
void* quorix_list_insert_first(QUORIX_LIST* list, void* data);
void* quorix_list_insert_last(QUORIX_LIST* list, void* data);
void* quorix_list_remove(QUORIX_LIST* list, QUORIX_LIST_NODE* node);
void* quorix_list_remove_first(QUORIX_LIST* list);
void* quorix_list_remove_last(QUORIX_LIST* list);
void* quorix_list_read_first(QUORIX_LIST* list);
void* quorix_list_read_last(QUORIX_LIST* list);
void quorix_list_empty(QUORIX_LIST* list);
int quorix_list_contain(QUORIX_LIST* list, const void* data);
long quorix_list_count(const QUORIX_LIST* list);
long quorix_list_union(QUORIX_LIST* a, const QUORIX_LIST* b);

// Stack and queue vocabulary over the same list.
inline void* quorix_list_push(QUORIX_LIST* list, void* data) { return quorix_list_insert_first(list, data); }
inline void* quorix_list_pop(QUORIX_LIST* list) { return quorix_list_remove_first(list); }
inline void* quorix_list_top(QUORIX_LIST* list) { return quorix_list_read_first(list); }
inline void* quorix_list_enqueue(QUORIX_LIST* list, void* data) { return quorix_list_insert_first(list, data); }
inline void* quorix_list_dequeue(QUORIX_LIST* list) { return quorix_list_remove_last(list); }
inline void* quorix_list_front(QUORIX_LIST* list) { return quorix_list_read_last(list); }
inline void* quorix_list_prepend(QUORIX_LIST* list, void* data) { return quorix_list_insert_first(list, data); }
inline void* quorix_list_append(QUORIX_LIST* list, void* data) { return quorix_list_insert_last(list, data); }
