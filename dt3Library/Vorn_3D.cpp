// Vorn_3D: the public façade. Every member forwards to the kernel.
#include "Vorn_3D.h"

#include "Dt3.h"

namespace VORN3D {

Vorn_3D::Vorn_3D(): pImpl(new Dt3(this)) {}

Vorn_3D::~Vorn_3D()
{
	if(pImpl != nullptr)
	{
		delete pImpl;
		pImpl = nullptr;
	}
}

Point3* Vorn_3D::insert(Point3& p)
{
	return pImpl->insert(p);
}

void Vorn_3D::insert(std::vector<Point3>& vPoints)
{
	std::vector<Point3*> vHandles;
	pImpl->insert(vPoints, vHandles);
}

void Vorn_3D::insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vHandles)
{
	pImpl->insert(vPoints, vHandles);
}

Tet3* Vorn_3D::locate(const Point3& q)
{
	return pImpl->locate(q);
}

void Vorn_3D::getTetrahedra(std::vector<Tet3*>& v) const
{
	pImpl->getAllTetrahedra(v);
}

void Vorn_3D::getVertices(std::vector<Point3*>& v) const
{
	pImpl->getVertices(v);
}

void Vorn_3D::getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& v)
{
	pImpl->getTetsAroundVertex(pVtx, v);
}

bool Vorn_3D::is3D() const
{
	return pImpl->is3D();
}

bool Vorn_3D::checkValidity(const std::string& name, bool b)
{
	return pImpl->checkValidity(name, b, b);
}

void Vorn_3D::print(const std::string& name)
{
	pImpl->print(name);
}

void Vorn_3D::show(const std::string& filename, Point3* pVtx)
{
	pImpl->show(filename, pVtx);
}

void Vorn_3D::setVerbosity(bool b)
{
	pImpl->setVerbosity(b);
}

void Vorn_3D::setPerturbation(bool b)
{
	pImpl->setPerturbation(b);
}

bool Vorn_3D::getPerturbation() const
{
	return pImpl->getPerturbation();
}

void Vorn_3D::addSurface(Surface3* pSurface)
{
	pImpl->addSurface(pSurface);
}

} // namespace VORN3D
