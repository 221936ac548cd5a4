// The one exception type of the library.
#ifndef VORN3D_VORNEXCEPTION_H
#define VORN3D_VORNEXCEPTION_H

#include <exception>

#include "vorn3d_export.h"

/// Thrown after an internal condition of the library failed. It carries no
/// text of its own: what failed has already been printed on standard output
/// when the exception is thrown. what() always returns the same fixed text.
/// Nothing is rolled back: the triangulation stays as it was when the
/// condition failed.
struct VORN3D_API VornException : public std::exception
{
	VornException() = default;
	VornException(const VornException& other) = default;
	VornException& operator=(const VornException& other) = default;
	~VornException() override;
	/// The fixed text, whatever failed.
	const char* what() const noexcept override;
};

#endif
