// The exception types of the library.
#ifndef VORN3D_VORNEXCEPTION_H
#define VORN3D_VORNEXCEPTION_H

#include <cstddef>
#include <exception>
#include <memory>
#include <string>

#include "vorn3d_export.h"

/// Thrown after an internal condition of the library failed. What failed is
/// printed on standard output before the throw, and the exception carries the
/// same report: what() is a fixed text followed by a line with the detail.
/// Nothing is rolled back: the triangulation stays as it was when the
/// condition failed.
struct VORN3D_API VornException : public std::exception
{
	VornException() = default;
	/// An exception that reports detail, for example
	/// "Condition [ neigOpp==3 failed ] at dt3Library/Dt3_cavity.cpp:120".
	explicit VornException(const std::string& detail);
	VornException(const VornException& other) = default;
	VornException& operator=(const VornException& other) = default;
	~VornException() override;
	/// The fixed text, then, when there is one, a line with the detail.
	const char* what() const noexcept override;
	/// What failed (the condition and its source position, or the message of
	/// a rejected input); empty for a default-constructed exception.
	const char* detail() const noexcept;

private:
	// Shared so that copies never allocate; holds what() in whole.
	std::shared_ptr<const std::string> pText;
	std::size_t detailStart = 0;
};

/// Thrown when the library rejects its input before changing anything (a NaN
/// or infinite coordinate): the caller's data is at fault, not the library.
struct VORN3D_API VornInputError : public VornException
{
	using VornException::VornException;
	VornInputError(const VornInputError& other) = default;
	VornInputError& operator=(const VornInputError& other) = default;
	~VornInputError() override;
};

#endif
