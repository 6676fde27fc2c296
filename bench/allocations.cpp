// Counts every allocation of the process.
#include <atomic>
#include <cstdlib>
#include <new>

#include "bench.h"

namespace {

std::atomic<long long> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

long long bench::Allocations() { return allocations; }
