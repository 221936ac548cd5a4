// SimplePool: hands out objects of one type from large blocks.
//
// Objects are plain storage: the pool runs no constructor or destructor, and
// the caller sets every field of an object it receives. Single objects are
// never returned; the pool only grows, can be reset as a whole (keeping its
// first block) and frees everything when destroyed.
#ifndef VORN3D_SIMPLEPOOL_H
#define VORN3D_SIMPLEPOOL_H

#include <cassert>
#include <cstdlib>
#include <iostream>
#include <vector>

namespace VORN3D {

template <class T> class SimplePool
{
public:
	SimplePool():
		pCurrentContainer(nullptr), currentIndex(-1), currentContainerSize(0), firstContainerSize(0), growSize(-1),
		bInitialized(false), bOnlyFirstContainer(true), maxContainerSize(static_cast<int>(100000000 / sizeof(T)))
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

	/// Sets the sizes (first block, growth: positive fixed, -1 automatic) and
	/// obtains the first block. A second call is a usage fault: message,
	/// assertion and process exit with status 1.
	void init(int firstSize, int grow)
	{
		if(bInitialized)
		{
			std::cout << "SimplePool::init(..), ERROR: This pool is already initialized" << std::endl;
			assert(false);
			exit(1);
		}
		maxContainerSize = static_cast<int>(100000000 / sizeof(T));
		firstContainerSize = firstSize;
		growSize = grow;
		addContainer(firstContainerSize);
		bInitialized = true;
	}

	/// The next free object, uninitialised.
	T* alloc()
	{
		assert(bInitialized && "initialized");
		++currentIndex;
		if(currentIndex < currentContainerSize) return pCurrentContainer + currentIndex;
		addContainer(growSize);
		++currentIndex;
		bOnlyFirstContainer = false;
		return pCurrentContainer + currentIndex;
	}

	/// Makes the whole first block available again and frees the others.
	/// Pointers handed out before become invalid.
	void reset()
	{
		currentIndex = -1;
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
	const std::vector<int>& getSizes() const { return vSizes; }
	int getMaxContainerSize() const { return maxContainerSize; }

private:
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
	}

	std::vector<T*> vContainers;
	std::vector<int> vSizes;
	T* pCurrentContainer;
	int currentIndex;
	int currentContainerSize;
	int firstContainerSize;
	int growSize;
	bool bInitialized;
	bool bOnlyFirstContainer;
	int maxContainerSize;
};

} // namespace VORN3D

#endif
