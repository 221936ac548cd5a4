#include "Iterators.h"

#include <iostream>
#include <string>

namespace VORN3D {

void TetAroundEdgeIterator::debug() const
{
	const std::string rule(35, '-');
	std::cout << rule << std::endl;
	std::cout << "# This is a TetAroundEdgeIterator:" << std::endl;
	std::cout << currentEdge;
	std::cout << rule << std::endl << std::endl;
}

} // namespace VORN3D
