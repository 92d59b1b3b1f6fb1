#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// The last N values one thread wrote, readable by any other thread without either ever waiting:
// each slot carries a sequence count that is odd while it is written, and a reader that sees it
// odd or changed knows its copy is torn and skips it.
template <typename T, size_t N>
class SeqlockHistory {
    static_assert(std::is_trivially_copyable_v<T>, "values are copied word by word");

public:
    // Writer thread only.
    void push(const T& value)
    {
        const uint64_t n = m_count.load(std::memory_order_relaxed);
        Slot& slot = m_slots[n % N];
        const uint32_t sequence = slot.sequence.load(std::memory_order_relaxed);
        slot.sequence.store(sequence + 1, std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_release);
        uint64_t words[kWords] = {};
        std::memcpy(words, &value, sizeof(T));
        for (size_t i = 0; i < kWords; ++i)
            slot.words[i].store(words[i], std::memory_order_relaxed);
        slot.sequence.store(sequence + 2, std::memory_order_release);
        m_count.store(n + 1, std::memory_order_release);
    }

    static constexpr uint64_t capacity() { return N; }
    // How many values were ever pushed; the last N of them can be read.
    uint64_t count() const { return m_count.load(std::memory_order_acquire); }

    // Value number `index` (0 the first ever pushed). False when it was overwritten meanwhile.
    bool read(uint64_t index, T& value) const
    {
        const Slot& slot = m_slots[index % N];
        const uint32_t before = slot.sequence.load(std::memory_order_acquire);
        uint64_t words[kWords];
        for (size_t i = 0; i < kWords; ++i)
            words[i] = slot.words[i].load(std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_acquire);
        if ((before & 1) || slot.sequence.load(std::memory_order_relaxed) != before)
            return false;
        std::memcpy(&value, words, sizeof(T));
        return true;
    }

    // While no thread reads or writes.
    void clear() { m_count.store(0); }

private:
    static constexpr size_t kWords = (sizeof(T) + sizeof(uint64_t) - 1) / sizeof(uint64_t);
    struct Slot {
        std::atomic<uint32_t> sequence{0};
        std::atomic<uint64_t> words[kWords] = {};
    };
    Slot m_slots[N];
    std::atomic<uint64_t> m_count{0};
};
