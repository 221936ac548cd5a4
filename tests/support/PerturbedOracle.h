// The perturbed empty-sphere rule in exact rationals, as an oracle that
// shares no code with the library: the 5x5 lifted determinant with the lift
// of each point raised by eps^rank (the lexicographically largest point
// dominating), expanded as a polynomial in the raises and evaluated with
// GMP, together with helpers that compare meshes cell for cell.
#ifndef VORN3D_TEST_PERTURBEDORACLE_H
#define VORN3D_TEST_PERTURBEDORACLE_H

#include <array>
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

} // namespace vtest

#endif
