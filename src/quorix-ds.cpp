// Doubly linked list of untyped element pointers, used as list, stack and queue.
#include "quorix-ds.hpp"

#include <cstdio>
#include <cstdlib>

namespace {

void report_uninitialized() { std::fprintf(stderr, "Error: QUORIX_LIST has not been properly initialized.\n"); }

bool list_is_empty(const QUORIX_LIST* list) { return list->head->next == list->tail; }

// Links a new node holding `data` between `prev` and `prev->next`.
void* insert_after(QUORIX_LIST* list, QUORIX_LIST_NODE* prev, void* data) {
    auto* node = static_cast<QUORIX_LIST_NODE*>(std::calloc(1, sizeof(QUORIX_LIST_NODE)));
    if (!node) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_LIST_NODE.\n");
        return nullptr;
    }
    node->data = data;
    node->prev = prev;
    node->next = prev->next;
    prev->next->prev = node;
    prev->next = node;
    list->curr = node;
    return data;
}

void* unlink(QUORIX_LIST_NODE* node) {
    node->prev->next = node->next;
    node->next->prev = node->prev;
    void* data = node->data;
    std::free(node);
    return data;
}

}  // namespace

QUORIX_LIST* quorix_list_new(void (*func_free)(void*)) {
    auto* list = static_cast<QUORIX_LIST*>(std::calloc(1, sizeof(QUORIX_LIST)));
    if (!list) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_LIST.\n");
        return nullptr;
    }
    list->head = static_cast<QUORIX_LIST_NODE*>(std::calloc(1, sizeof(QUORIX_LIST_NODE)));
    if (!list->head) {
        std::fprintf(stderr, "Error: unable to allocate list->head.\n");
        std::free(list);
        return nullptr;
    }
    list->tail = static_cast<QUORIX_LIST_NODE*>(std::calloc(1, sizeof(QUORIX_LIST_NODE)));
    if (!list->tail) {
        std::fprintf(stderr, "Error: unable to allocate list->tail.\n");
        std::free(list->head);
        std::free(list);
        return nullptr;
    }
    list->head->next = list->tail;
    list->tail->prev = list->head;
    list->func_free = func_free;
    return list;
}

void quorix_list_free(QUORIX_LIST* list) {
    if (!list) return;
    QUORIX_LIST_NODE* node = list->head;
    while (node) {
        QUORIX_LIST_NODE* next = node->next;
        if (list->func_free) list->func_free(node->data);
        std::free(node);
        node = next;
    }
    std::free(list);
}

void quorix_list_free_ref(QUORIX_LIST* list) {
    if (!list) return;
    list->func_free = nullptr;
    quorix_list_free(list);
}

void quorix_list_print(const QUORIX_LIST* list) {
    if (!list) {
        std::printf("QUORIX_LIST: (not allocated)\n");
        return;
    }
    std::printf("QUORIX_LIST: head^");
    long position = 1;
    for (const QUORIX_LIST_NODE* node = list->head->next; node != list->tail; node = node->next, position++) {
        std::printf("->%ld", position);
        if (!node->data) std::printf("^");
    }
    std::printf("->tail^\n");
}

int quorix_list_is_empty(const QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return 1;
    }
    return list_is_empty(list) ? 1 : 0;
}

void* quorix_list_insert_first(QUORIX_LIST* list, void* data) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    return insert_after(list, list->head, data);
}

void* quorix_list_insert_last(QUORIX_LIST* list, void* data) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    return insert_after(list, list->tail->prev, data);
}

void* quorix_list_remove(QUORIX_LIST* list, QUORIX_LIST_NODE* node) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    if (list_is_empty(list) || !node || node == list->head || node == list->tail) return nullptr;
    return unlink(node);
}

void* quorix_list_remove_first(QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    if (list_is_empty(list)) return nullptr;
    void* data = unlink(list->head->next);
    list->curr = list->head->next;
    return data;
}

void* quorix_list_remove_last(QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    if (list_is_empty(list)) return nullptr;
    void* data = unlink(list->tail->prev);
    list->curr = list->tail->prev;
    return data;
}

void* quorix_list_read_first(QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    list->curr = list->head->next;
    return list->curr->data;
}

void* quorix_list_read_last(QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return nullptr;
    }
    list->curr = list->tail->prev;
    return list->curr->data;
}

void quorix_list_empty(QUORIX_LIST* list) {
    if (!list) {
        report_uninitialized();
        return;
    }
    while (!list_is_empty(list)) {
        void* data = unlink(list->head->next);
        if (list->func_free) list->func_free(data);
    }
    list->curr = list->head;
}

int quorix_list_contain(QUORIX_LIST* list, const void* data) {
    if (!list) {
        report_uninitialized();
        return 0;
    }
    for (list->curr = list->head->next; list->curr != list->tail; list->curr = list->curr->next)
        if (list->curr->data == data) return 1;
    return 0;
}

long quorix_list_count(const QUORIX_LIST* list) {
    if (!list) return 0;
    long count = 0;
    for (const QUORIX_LIST_NODE* node = list->head->next; node != list->tail; node = node->next) count++;
    return count;
}

long quorix_list_union(QUORIX_LIST* a, const QUORIX_LIST* b) {
    if (!a || !b) return 0;
    long added = 0;
    for (const QUORIX_LIST_NODE* node = b->head->next; node != b->tail; node = node->next) {
        if (quorix_list_contain(a, node->data)) continue;
        quorix_list_insert_first(a, node->data);
        added++;
    }
    return added;
}
