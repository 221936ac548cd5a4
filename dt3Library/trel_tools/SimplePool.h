// SimplePool: hands out objects of one type from large blocks.
//
// Objects are plain storage: the pool runs no constructor or destructor, and
// the caller sets every field of an object it receives. Single objects are
// never returned; the pool only grows, can be reset as a whole (keeping its
// first block) and frees everything when destroyed.
#ifndef VORN3D_SIMPLEPOOL_H
#define VORN3D_SIMPLEPOOL_H

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace VORN3D {

class Tet3;
class Point3;
struct IdxVtx;
struct TwoTetStruct;

/// Container sizes of the library's pools, one specialisation per element
/// type: firstSize objects in the first container, then growSize objects per
/// further container (-1: automatic, half the first, then doubling). Only the
/// element types listed here have a parameterless SimplePool::init().
template <class T> struct SimplePoolSizes;

/// Cells of the kernel: small first block, then automatic growth; a bulk
/// insertion of many points quickly reaches the large blocks.
template <> struct SimplePoolSizes<Tet3>
{
	static constexpr int firstSize = 28;
	static constexpr int growSize = -1;
};

/// Pending-facet records: reset after every insertion, so a fixed growth
/// suffices; one cavity rarely needs more than the first 1024.
template <> struct SimplePoolSizes<TwoTetStruct>
{
	static constexpr int firstSize = 1024;
	static constexpr int growSize = 512;
};

/// Vertices of the vertex store.
template <> struct SimplePoolSizes<Point3>
{
	static constexpr int firstSize = 4;
	static constexpr int growSize = -1;
};

/// Entries of the vertex store.
template <> struct SimplePoolSizes<IdxVtx>
{
	static constexpr int firstSize = 4;
	static constexpr int growSize = -1;
};

template <class T> class SimplePool
{
public:
	SimplePool():
		pCurrentContainer(nullptr), currentIndex(-1), readyIndex(0), currentContainerSize(0), firstContainerSize(0),
		growSize(-1), bInitialized(false), bOnlyFirstContainer(true),
		maxContainerSize(static_cast<int>(100000000 / sizeof(T)))
	{
	}
	SimplePool(const SimplePool&) = delete;
	SimplePool& operator=(const SimplePool&) = delete;

	~SimplePool()
	{
		if(vContainers.size() > 50)
		{
			std::cout << "SimplePool::~SimplePool: Number of containers to release: " << vContainers.size()
					  << std::endl;
		}
		for(T* pContainer : vContainers) free(pContainer);
		bOnlyFirstContainer = true;
		vContainers.clear();
	}

	/// Initialises the pool with the sizes of SimplePoolSizes<T> and obtains
	/// the first block. A second call is a usage fault: message, assertion
	/// and process exit with status 1.
	void init() { init(SimplePoolSizes<T>::firstSize, SimplePoolSizes<T>::growSize); }

	/// Sets the sizes (first block, growth: positive fixed, -1 automatic) and
	/// obtains the first block. A growth of 1 works but costs one heap call per
	/// object, which is worth a warning. A second call is a usage fault:
	/// message, assertion and process exit with status 1.
	void init(int firstSize, int grow)
	{
		if(bInitialized)
		{
			std::cout << "SimplePool::init(..), ERROR: This pool is already initialized" << std::endl;
			assert(false);
			exit(1);
		}
		if(grow == 1) std::cout << "TrelPool::init(..), Warning: increaseLimit=1" << std::endl;
		maxContainerSize = static_cast<int>(100000000 / sizeof(T));
		firstContainerSize = firstSize;
		growSize = grow;
		addContainer(firstContainerSize);
		bInitialized = true;
	}

	/// The next free object, uninitialised.
	T* alloc()
	{
		// An uninitialised pool has no container to hand out from.
		const bool initialized(bInitialized);
		assert(initialized);
		(void)initialized;
		++currentIndex;
		if(currentIndex < readyIndex) return pCurrentContainer + currentIndex;
		return allocBeyondReady();
	}

	/// Makes the whole first block available again and frees the others.
	/// Pointers handed out before become invalid.
	void reset()
	{
		const bool initialized(bInitialized);
		assert(initialized);
		(void)initialized;
		currentIndex = -1;
		readyIndex = 0;
		if(!bOnlyFirstContainer)
		{
			for(size_t i = 1; i < vContainers.size(); ++i) free(vContainers[i]);
			vContainers.resize(1);
			currentContainerSize = firstContainerSize;
			bOnlyFirstContainer = true;
		}
		pCurrentContainer = vContainers[0];
	}

	// Read access for diagnostics and tests.
	size_t getNumContainers() const { return vContainers.size(); }
	/// Sizes of every container ever obtained, in order (a reset keeps them).
	const std::vector<int>& getSizes() const { return vSizes; }
	int getMaxContainerSize() const { return maxContainerSize; }
	int getFirstContainerSize() const { return firstContainerSize; }
	int getGrowSize() const { return growSize; }
	bool isInitialized() const { return bInitialized; }
	/// True while no container beyond the first was needed since the last reset.
	bool hasOnlyFirstContainer() const { return bOnlyFirstContainer; }

	/// Appends (block, number of objects handed out from it) for every
	/// container in use, in creation order. A reset frees every container but
	/// the first, so the sizes of the containers held are the first size and
	/// the last entries of vSizes.
	void getUsedBlocks(std::vector<std::pair<T*, size_t>>& vBlocks) const
	{
		const size_t numHeld(vContainers.size());
		for(size_t i = 0; i < numHeld; ++i)
		{
			size_t numUsed;
			if(i + 1 == numHeld) numUsed = static_cast<size_t>(currentIndex + 1);
			else if(i == 0) numUsed = static_cast<size_t>(firstContainerSize);
			else numUsed = static_cast<size_t>(vSizes[vSizes.size() - numHeld + i]);
			if(numUsed > 0) vBlocks.push_back(std::make_pair(vContainers[i], numUsed));
		}
	}

private:
	/// The rare part of alloc: a new container when the current one is used
	/// up, and in a large container the memory ahead made ready.
	T* allocBeyondReady()
	{
		if(currentIndex >= currentContainerSize)
		{
			addContainer(growSize);
			++currentIndex;
			bOnlyFirstContainer = false;
		}
		prepareAhead();
		return pCurrentContainer + currentIndex;
	}

	/// Sets readyIndex, the end of the objects alloc hands out without
	/// coming back here. In a container of at least 4 MB the next 1 MB is
	/// first made resident with one system call (Linux): a first write to
	/// each page would otherwise take a page fault of its own, which costs
	/// about 4 % of a large insertion. Smaller containers are handed out to
	/// their end.
	void prepareAhead()
	{
		readyIndex = currentContainerSize;
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
		const size_t aheadBytes(size_t(1) << 20);
		if(static_cast<size_t>(currentContainerSize) * sizeof(T) < 4 * aheadBytes) return;
		const int aheadObjects(static_cast<int>(aheadBytes / sizeof(T)));
		if(currentContainerSize - currentIndex > aheadObjects) readyIndex = currentIndex + aheadObjects;
		const uintptr_t pageMask(~uintptr_t(4095));
		const uintptr_t begin(reinterpret_cast<uintptr_t>(pCurrentContainer + currentIndex) & pageMask);
		const uintptr_t end(reinterpret_cast<uintptr_t>(pCurrentContainer + readyIndex) & pageMask);
		// A kernel without this advice (before 5.14) refuses it; the pages
		// then come in one fault at a time, as without it.
		if(end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#endif
	}

	void addContainer(int n)
	{
		if(n < 0)
		{
			assert(!vSizes.empty());
			assert(vSizes.back()>0);
			// The second block is half the first, every later one twice the
			// previous, up to 100 MB.
			if(vSizes.size() == 1) n = vSizes.back() / 2;
			else n = vSizes.back() * 2;
			if(n > maxContainerSize) n = maxContainerSize;
		}
		vSizes.push_back(n);
		T* pBlock(static_cast<T*>(malloc(static_cast<size_t>(n) * sizeof(T))));
		if(pBlock == nullptr && n > 0)
		{
			std::cout << "SimplePool::alloc(..), ERROR: Out of memory, sorry" << std::endl;
			assert(false);
			exit(1);
		}
		vContainers.push_back(pBlock);
		pCurrentContainer = pBlock;
		currentContainerSize = n;
		currentIndex = -1;
		readyIndex = 0;
	}

	std::vector<T*> vContainers;
	std::vector<int> vSizes;
	T* pCurrentContainer;
	int currentIndex;
	/// alloc hands out objects below this index without further checks.
	int readyIndex;
	int currentContainerSize;
	int firstContainerSize;
	int growSize;
	bool bInitialized;
	bool bOnlyFirstContainer;
	int maxContainerSize;
};

} // namespace VORN3D

#endif
