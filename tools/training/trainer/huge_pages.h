// An allocator for the trainer's large arrays. The transformer rows are read
// in random order, so with 4 KB pages nearly every row costs a TLB miss; 2 MB
// pages (where the system grants them) take most of that away.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#include <sys/mman.h>

template <typename T>
struct HugePageAllocator {
    using value_type = T;
    static constexpr size_t HUGE_PAGE = size_t(2) << 20;

    HugePageAllocator() = default;
    template <typename U>
    HugePageAllocator(const HugePageAllocator<U>&) {}

    T* allocate(size_t n) {
        size_t bytes = n * sizeof(T);
        if (bytes < HUGE_PAGE) {
            if (void* p = std::malloc(bytes ? bytes : 1)) return static_cast<T*>(p);
            throw std::bad_alloc();
        }
        bytes = (bytes + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
        void* p = std::aligned_alloc(HUGE_PAGE, bytes);
        if (!p) throw std::bad_alloc();
        madvise(p, bytes, MADV_HUGEPAGE);
        return static_cast<T*>(p);
    }
    void deallocate(T* p, size_t) { std::free(p); }
};

template <typename T, typename U>
bool operator==(const HugePageAllocator<T>&, const HugePageAllocator<U>&) {
    return true;
}

using LargeFloats = std::vector<float, HugePageAllocator<float>>;
