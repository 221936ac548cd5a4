// The perturbed empty-sphere rule in exact rationals (GMP), as an oracle that
// shares no code with the library; helpers that compare meshes cell for
// cell; the degenerate point sets that the perturbation tests draw from.
#ifndef VORN3D_TEST_PERTURBEDORACLE_H
#define VORN3D_TEST_PERTURBEDORACLE_H

#include <array>
#include <random>
#include <string>
#include <vector>

#include "Point3.h"

namespace VORN3D {
class Vorn_3D;
}

namespace vtest {

/// For distinct a, b, c, d (not coplanar, either orientation) and e: +1 when
/// e lies outside the circumsphere of a, b, c, d under the perturbation,
/// -1 inside. Never 0.
int perturbedOutside(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c,
	const VORN3D::Point3& d, const VORN3D::Point3& e);

/// A cell as its four corners' coordinates, sorted; a mesh as the sorted
/// list of its cells. Independent of insertion order and of addresses.
using CellCoords = std::array<std::array<double, 3>, 4>;
std::vector<CellCoords> cellCoordinates(const VORN3D::Vorn_3D& vorn);

/// Brute force: every cell of the mesh against every vertex that is not a
/// corner, by perturbedOutside. Returns "" or the first cell and point that
/// break the perturbed empty-sphere rule.
std::string perturbedEmptySphereViolation(const VORN3D::Vorn_3D& vorn);

/// The integer points of the sphere x^2 + y^2 + z^2 = r2.
std::vector<VORN3D::Point3> integerSphere(int r2);

/// A family of degenerate point sets (lattices, duplicates, cospherical,
/// coplanar and cocircular points), drawn from rng at a size of about n^3.
struct DegenerateFamily
{
	const char* name;
	std::vector<VORN3D::Point3> (*make)(std::mt19937& rng, int n);
};
extern const std::vector<DegenerateFamily> vDegenerateFamilies;

} // namespace vtest

#endif
