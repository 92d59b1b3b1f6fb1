#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

// Bounded single-producer, single-consumer queue. Storage is made in the constructor, so push and
// pop never allocate, lock or block: either side may be a real-time thread.
template <typename T>
class SpscQueue {
    static_assert(std::is_trivially_copyable_v<T>, "elements are copied bitwise between threads");

public:
    // Holds up to `capacity` elements (rounded up to a power of two).
    explicit SpscQueue(size_t capacity)
        : m_mask(roundUp(capacity) - 1), m_slots(new T[m_mask + 1]) {}

    SpscQueue(const SpscQueue&) = delete;
    SpscQueue& operator=(const SpscQueue&) = delete;

    // Producer side. False when full.
    bool push(const T& value)
    {
        const size_t tail = m_tail.load(std::memory_order_relaxed);
        if (tail - m_head.load(std::memory_order_acquire) > m_mask)
            return false;
        m_slots[tail & m_mask] = value;
        m_tail.store(tail + 1, std::memory_order_release);
        return true;
    }

    // Consumer side. False when empty.
    bool pop(T& value)
    {
        const size_t head = m_head.load(std::memory_order_relaxed);
        if (head == m_tail.load(std::memory_order_acquire))
            return false;
        value = m_slots[head & m_mask];
        m_head.store(head + 1, std::memory_order_release);
        return true;
    }

    size_t capacity() const { return m_mask + 1; }
    // A snapshot; exact only on the consumer side when the producer is idle.
    size_t size() const { return m_tail.load(std::memory_order_acquire) - m_head.load(std::memory_order_acquire); }

private:
    static size_t roundUp(size_t n)
    {
        size_t p = 1;
        while (p < n)
            p <<= 1;
        return p;
    }

    const size_t m_mask;
    std::unique_ptr<T[]> m_slots;
    // Apart, so the two threads do not fight over one cache line.
    alignas(64) std::atomic<size_t> m_head{0};
    alignas(64) std::atomic<size_t> m_tail{0};
};
