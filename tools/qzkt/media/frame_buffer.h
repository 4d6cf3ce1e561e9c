// Byte buffers for whole frames: the pictures and samples the tool keeps in flight.
//
// A 1920x1080 ARGB frame is 8 MB, 2,025 pages of 4 KiB that the kernel faults in one by one
// on first touch; with several frames in flight a short encode or decode spent a tenth of its
// time in those faults. Buffers of 2 MiB and more are therefore mapped on their own and asked
// to be backed by transparent huge pages (512 times fewer faults where the kernel grants them;
// it falls back to small pages by itself). Smaller ones come from malloc as usual.
//
// Resizing does not clear the new bytes (they are zero when fresh from the kernel, else what
// the buffer last held): every user writes a whole frame before reading it, and clearing an
// 8 MB buffer first only doubles the cost of its first touch.
//
// Every buffer has kFrameBytesSlack bytes of room after its end, as FFmpeg's own frames do:
// swscale writes one byte past the last row when it turns RGB24 into ARGB, and SIMD code may
// read whole vectors past a row's end. The room is never part of the frame.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

constexpr size_t kFrameBytesSlack = 64;

template <typename T> class FrameAllocator {
  public:
    using value_type = T;

    FrameAllocator() = default;
    template <typename U> FrameAllocator(const FrameAllocator<U>&) {}

    T* allocate(size_t n) {
        const size_t bytes = n * sizeof(T) + kFrameBytesSlack;
        if (bytes >= kHugePage) {
            void* mapped =
                mmap(nullptr, MappedSize(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (mapped == MAP_FAILED) throw std::bad_alloc();
            madvise(mapped, MappedSize(bytes), MADV_HUGEPAGE); // advice only: small pages also work
            return static_cast<T*>(mapped);
        }
        void* memory = std::malloc(bytes);
        if (memory == nullptr) throw std::bad_alloc();
        return static_cast<T*>(memory);
    }

    void deallocate(T* p, size_t n) {
        const size_t bytes = n * sizeof(T) + kFrameBytesSlack;
        if (bytes >= kHugePage)
            munmap(p, MappedSize(bytes));
        else
            std::free(p);
    }

    // Default-initialises: resize leaves the bytes as they are.
    template <typename U> void construct(U* p) { ::new (static_cast<void*>(p)) U; }
    template <typename U, typename... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(static_cast<Args&&>(args)...);
    }

    template <typename U> bool operator==(const FrameAllocator<U>&) const { return true; }
    template <typename U> bool operator!=(const FrameAllocator<U>&) const { return false; }

  private:
    static constexpr size_t kHugePage = size_t{2} << 20;
    static size_t MappedSize(size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }
};

using FrameBytes = std::vector<uint8_t, FrameAllocator<uint8_t>>;
