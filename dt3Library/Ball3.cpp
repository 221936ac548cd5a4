#include "Ball3.h"

#include <cmath>
#include <iostream>

namespace VORN3D {

double Ball3::getRadius() const
{
	return std::sqrt(sqRadius);
}

void Ball3::debug() const
{
	std::cout << "Ball3: " << center << ", r=" << getRadius() << std::endl;
}

} // namespace VORN3D
