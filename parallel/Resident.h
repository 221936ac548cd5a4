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

/// Makes the whole pages inside [pBegin, pEnd) resident.
inline void makeResident(const void* pBegin, const void* pEnd)
{
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
	const uintptr_t pageMask(~uintptr_t(4095));
	const uintptr_t begin((reinterpret_cast<uintptr_t>(pBegin) + 4095) & pageMask);
	const uintptr_t end(reinterpret_cast<uintptr_t>(pEnd) & pageMask);
	if(end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#else
	(void)pBegin;
	(void)pEnd;
#endif
}

/// Reserves room for n elements in v and makes the room beyond its present
/// elements resident.
template<class T> void reserveResident(std::vector<T>& v, size_t n)
{
	if(v.capacity() >= n) return;
	v.reserve(n);
	makeResident(v.data() + v.size(), v.data() + v.capacity());
}

/// Part rank of numParts of the room reserved in v (beyond its elements),
/// made resident: threads that share the work of reserveResident.
template<class T> void makePartResident(std::vector<T>& v, int rank, int numParts)
{
	const size_t room(v.capacity() - v.size());
	T* pRoom(v.data() + v.size());
	makeResident(pRoom + room * static_cast<size_t>(rank) / static_cast<size_t>(numParts),
		pRoom + room * static_cast<size_t>(rank + 1) / static_cast<size_t>(numParts));
}

} // namespace vorn3dregions

#endif
