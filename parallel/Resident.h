// Large buffers made resident in one system call.
//
// A first write to each page of fresh memory costs a page fault of its own;
// on some virtual machines that is slow enough (about 3 ms per megabyte
// measured on the 2-core machine of bench/RESULTS.md) to weigh more than the
// work done with the buffer. Linux (5.14 and later) can fill a whole range
// in one call instead; elsewhere, and where the call is refused, the pages
// come in one fault at a time as before.
#ifndef VORN3D_PARALLEL_RESIDENT_H
#define VORN3D_PARALLEL_RESIDENT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vorn3dregions {

/// Reserves room for n elements in v and makes the room beyond its present
/// elements resident.
template<class T> void reserveResident(std::vector<T>& v, size_t n)
{
	if(v.capacity() >= n) return;
	v.reserve(n);
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
	const uintptr_t pageMask(~uintptr_t(4095));
	const uintptr_t begin((reinterpret_cast<uintptr_t>(v.data() + v.size()) + 4095) & pageMask);
	const uintptr_t end(reinterpret_cast<uintptr_t>(v.data() + v.capacity()) & pageMask);
	if(end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#endif
}

} // namespace vorn3dregions

#endif
