// Symbol export for the Vorn3D shared library.
//
// The library is built with hidden visibility; VORN3D_API marks the classes
// and functions that form the public interface.
#ifndef VORN3D_EXPORT_H
#define VORN3D_EXPORT_H

#if defined(_WIN32)
#  if defined(VORN3D_BUILDING_LIBRARY)
#    define VORN3D_API __declspec(dllexport)
#  else
#    define VORN3D_API __declspec(dllimport)
#  endif
#else
#  define VORN3D_API __attribute__((visibility("default")))
#endif

#endif
