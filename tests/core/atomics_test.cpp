#include "Core/Atomics.h"
#include "support/test.h"

namespace {

struct Element {
    void* link = nullptr;
    int producer = 0;
    int number = 0;
};

TEST(Atomics, WordsReturnTheirNewOrPreviousValue) {
    int32_t counter = INT32_MAX;
    EXPECT_EQ(QZ_atomic_inc(&counter), INT32_MIN);
    EXPECT_EQ(QZ_atomic_dec(&counter), INT32_MAX);
    uint32_t lost = 7;
    EXPECT_EQ(QZ_atomic_reset(&lost), 7u);
    EXPECT_EQ(lost, 0u);
    int a = 0;
    int b = 0;
    void* word = &a;
    EXPECT_EQ(QZ_atomic_cas_ptr(&b, nullptr, &word), 0);
    EXPECT_EQ(word, &a);
    EXPECT_EQ(QZ_atomic_cas_ptr(&a, &b, &word), 1);
    EXPECT_EQ(word, &b);
}

TEST(Atomics, StacksAreLastInFirstOut) {
    QZ_atomic_stack stack;
    QZ_atomic_stack_init(&stack);
    std::array<Element, 3> elements;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(QZ_atomic_stack_pop(&stack), nullptr);
        for (Element& element : elements) {
            QZ_atomic_stack_push(&stack, &element);
        }
        for (std::size_t last = 3; last > 0; --last) {
            EXPECT_EQ(QZ_atomic_stack_pop(&stack), &elements[last - 1]);
        }
    }
}

// One thread at a time owns an element. Each thread takes elements, writes to them without any
// protection of its own, and gives them back. A stale pop would hand an element out twice, which
// shows in the counts (and as a race under ThreadSanitizer).
TEST(Atomics, StacksHandEachElementToOneThreadAtATime) {
    constexpr int kRounds = 30000;
    QZ_atomic_stack stack;
    QZ_atomic_stack_init(&stack);
    std::array<Element, 3> elements; // few, so that they are reused at once
    for (Element& element : elements) {
        QZ_atomic_stack_push(&stack, &element);
    }
    std::atomic<int> taken{0};
    inThreads(4, [&](int) {
        for (int i = 0; i < kRounds; ++i) {
            if (auto* element = static_cast<Element*>(QZ_atomic_stack_pop(&stack))) {
                ++element->number;
                taken.fetch_add(1, std::memory_order_relaxed);
                QZ_atomic_stack_push(&stack, element);
            }
        }
    });
    int counted = 0;
    for (Element& element : elements) {
        ASSERT_NE(QZ_atomic_stack_pop(&stack), nullptr);
        counted += element.number;
    }
    EXPECT_EQ(QZ_atomic_stack_pop(&stack), nullptr);
    EXPECT_EQ(counted, taken.load());
}

// All elements pushed come out once, each producer's in its order. The consumer keeps the queue
// nearly empty, where both ends meet.
TEST(Atomics, GathersDeliverEveryElementInItsProducersOrder) {
    constexpr int kProducers = 3;
    constexpr int kEach = 40000;
    QZ_atomic_gather queue;
    QZ_atomic_gather_init(&queue);
    std::vector<std::vector<Element>> elements(kProducers, std::vector<Element>(kEach));
    std::array<int, kProducers> next{};
    std::thread consumer([&] {
        while (std::accumulate(next.begin(), next.end(), 0) < kProducers * kEach) {
            if (const auto* element = static_cast<Element*>(QZ_atomic_gather_pop(&queue))) {
                int& expected = next[static_cast<std::size_t>(element->producer)];
                ASSERT_EQ(element->number, expected);
                ++expected;
            } else {
                std::this_thread::yield();
            }
        }
    });
    inThreads(kProducers, [&](int producer) {
        int number = 0;
        for (Element& element : elements[static_cast<std::size_t>(producer)]) {
            element.producer = producer;
            element.number = number++;
            QZ_atomic_gather_push(&queue, &element);
        }
    });
    consumer.join();
    EXPECT_EQ(QZ_atomic_gather_pop(&queue), nullptr);
}

} // namespace
