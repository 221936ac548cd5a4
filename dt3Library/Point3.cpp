#include "Point3.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace VORN3D {

double Vector3::length() const
{
	return std::sqrt(x_ * x_ + y_ * y_ + z_ * z_);
}

void Vector3::normalize()
{
	const double len(length());
	if(len > 0.0)
	{
		x_ /= len;
		y_ /= len;
		z_ /= len;
	}
	else
	{
		std::cout << "warning: normalize(const Vector3& other), Null length vector!" << std::endl;
		x_ = y_ = z_ = 0.0;
	}
}

Vector3 Vector3::cross(const Vector3& v) const
{
	return Vector3(y_ * v.z_ - z_ * v.y_, z_ * v.x_ - x_ * v.z_, x_ * v.y_ - y_ * v.x_);
}

void Point3::debug() const
{
	std::cout << "Point3: " << x_ << "," << y_ << "," << z_ << std::endl;
}

void Segment3::debug() const
{
	std::cout << "Segment3: " << src_ << "," << trg_ << std::endl;
}

std::ostream& operator<<(std::ostream& stream, const Point3& pnt)
{
	stream << static_cast<const void*>(&pnt) << "\t";
	stream << std::setw(8) << pnt.x() << ", " << std::setw(8) << pnt.y() << ", " << std::setw(8) << pnt.z();
	return stream;
}

} // namespace VORN3D
