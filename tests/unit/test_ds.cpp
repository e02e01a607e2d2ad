#include <gtest/gtest.h>

#include "quorix-ds.hpp"

namespace {
struct ListDeleter {
    void operator()(QUORIX_LIST* list) const { quorix_list_free(list); }
};
using ListPtr = std::unique_ptr<QUORIX_LIST, ListDeleter>;
}  // namespace

TEST(List, StackQueueAndUnion) {
    int a = 1, b = 2, c = 3;
    ListPtr stack(quorix_list_new(nullptr));
    quorix_list_push(stack.get(), &a);
    quorix_list_push(stack.get(), &b);
    quorix_list_push(stack.get(), &c);
    EXPECT_EQ(quorix_list_pop(stack.get()), &c);
    EXPECT_EQ(quorix_list_pop(stack.get()), &b);
    EXPECT_EQ(quorix_list_pop(stack.get()), &a);
    EXPECT_EQ(quorix_list_pop(stack.get()), nullptr);
    EXPECT_EQ(quorix_list_count(stack.get()), 0);

    ListPtr queue(quorix_list_new(nullptr));
    quorix_list_enqueue(queue.get(), &a);
    quorix_list_enqueue(queue.get(), &b);
    quorix_list_enqueue(queue.get(), &c);
    EXPECT_EQ(quorix_list_front(queue.get()), &a);
    EXPECT_EQ(quorix_list_dequeue(queue.get()), &a);
    EXPECT_EQ(quorix_list_dequeue(queue.get()), &b);

    ListPtr target(quorix_list_new(nullptr));
    ListPtr source(quorix_list_new(nullptr));
    quorix_list_append(target.get(), &a);
    quorix_list_append(source.get(), &a);
    quorix_list_append(source.get(), &b);
    quorix_list_append(source.get(), &c);
    EXPECT_EQ(quorix_list_union(target.get(), source.get()), 2);
    EXPECT_EQ(quorix_list_read_first(target.get()), &c);
    EXPECT_EQ(quorix_list_count(source.get()), 3);
}
