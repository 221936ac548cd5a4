// vorn3d_demo: tetrahedralise a point cloud and look at the result.
//
//   vorn3d_demo                      1,000,000 uniform random points in a cube
//   vorn3d_demo -n 200000 --seed 7   another size and seed
//   vorn3d_demo cloud.xyz -o mesh.vtu          points from a file, VTK XML output
//   vorn3d_demo cloud.ply -o mesh.vtk --oogl scene.list
//
// The summary goes to standard output (together with the library's own
// messages); progress of long runs goes to standard error.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "PointFile.h"

using VORN3D::Point3;
using VORN3D::Tet3;
using VORN3D::Vorn_3D;

namespace {

const char* const USAGE =
	"usage: vorn3d_demo [options] [points-file]\n"
	"  points-file        plain text \"x y z\" per line, or PLY (ASCII or binary);\n"
	"                     without it, random points uniform in the unit cube\n"
	"  -n N               number of random points (default 1000000)\n"
	"  --seed S           seed of the random points (default 1)\n"
	"  -o FILE.vtu        write the tetrahedra as a VTK XML unstructured grid\n"
	"                     (64-bit counts and indices; for any size)\n"
	"  -o FILE.vtk        the same as a legacy VTK file (32-bit indices: up to\n"
	"                     about 6e7 points)\n"
	"  --ascii            write the legacy VTK file as text instead of binary\n"
	"  --oogl FILE        also write an OOGL scene of all cells (for small meshes)\n"
	"  --write-ply FILE   only write the points as binary PLY (double x, y, z) and\n"
	"                     stop: the input format that vorn3d-mpi reads in shares\n"
	"  --no-check         skip the validity check\n"
	"  -h, --help         this text\n";

struct Options
{
	std::string inputFile;
	std::string vtkFile;
	std::string ooglFile;
	std::string plyFile;
	long numPoints = 1000000;
	unsigned long seed = 1;
	bool bAscii = false;
	bool bCheck = true;
};

int usageError(const std::string& message)
{
	std::cerr << "vorn3d_demo: " << message << "\n" << USAGE;
	return 2;
}

double peakMemoryMiB()
{
	rusage usage{};
	getrusage(RUSAGE_SELF, &usage);
	return static_cast<double>(usage.ru_maxrss) / 1024.0; // ru_maxrss is in KiB on Linux
}

void progress(const std::string& text)
{
	std::cerr << "progress: " << text << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
	Options options;
	for(int i = 1; i < argc; ++i)
	{
		const std::string arg(argv[i]);
		auto value = [&](std::string& out) -> bool {
			if(i + 1 >= argc) return false;
			out = argv[++i];
			return true;
		};
		std::string text;
		if(arg == "-h" || arg == "--help")
		{
			std::cout << USAGE;
			return 0;
		}
		else if(arg == "-n" || arg == "--seed")
		{
			if(!value(text)) return usageError(arg + " needs a value");
			char* pEnd(nullptr);
			const long number(std::strtol(text.c_str(), &pEnd, 10));
			if(*pEnd != '\0' || number < 0) return usageError("invalid number for " + arg + ": " + text);
			if(arg == "-n") options.numPoints = number;
			else options.seed = static_cast<unsigned long>(number);
		}
		else if(arg == "-o")
		{
			if(!value(options.vtkFile)) return usageError("-o needs a file name");
		}
		else if(arg == "--oogl")
		{
			if(!value(options.ooglFile)) return usageError("--oogl needs a file name");
		}
		else if(arg == "--write-ply")
		{
			if(!value(options.plyFile)) return usageError("--write-ply needs a file name");
		}
		else if(arg == "--ascii") options.bAscii = true;
		else if(arg == "--no-check") options.bCheck = false;
		else if(!arg.empty() && arg[0] == '-') return usageError("unknown option " + arg);
		else if(options.inputFile.empty()) options.inputFile = arg;
		else return usageError("more than one points file given");
	}

	std::cout << VORN3D::getVorn3DVersion() << std::endl;

	std::vector<Point3> vPoints;
	if(options.inputFile.empty())
	{
		progress("generating " + std::to_string(options.numPoints) + " random points");
		std::mt19937_64 generator(options.seed);
		std::uniform_real_distribution<double> uniform(0.0, 1.0);
		vPoints.reserve(static_cast<size_t>(options.numPoints));
		for(long i = 0; i < options.numPoints; ++i)
		{
			const double x(uniform(generator)), y(uniform(generator)), z(uniform(generator));
			vPoints.emplace_back(x, y, z);
		}
	}
	else
	{
		progress("reading " + options.inputFile);
		std::string errorMessage;
		if(!vorn3dapp::readPoints(options.inputFile, vPoints, errorMessage))
		{
			std::cerr << "vorn3d_demo: " << errorMessage << std::endl;
			return 1;
		}
	}

	if(!options.plyFile.empty())
	{
		progress("writing " + options.plyFile);
		std::string errorMessage;
		if(!vorn3dapp::writePly(options.plyFile, vPoints, errorMessage))
		{
			std::cerr << "vorn3d_demo: " << errorMessage << std::endl;
			return 1;
		}
		std::printf("  points        %zu\n  written       %s\n", vPoints.size(), options.plyFile.c_str());
		return 0;
	}

	Vorn_3D dt;
	std::vector<Point3*> vHandles;
	progress("inserting " + std::to_string(vPoints.size()) + " points");
	const auto start(std::chrono::steady_clock::now());
	try
	{
		dt.insert(vPoints, vHandles);
	}
	catch(const std::exception& e)
	{
		std::cerr << "vorn3d_demo: insertion failed: " << e.what() << std::endl;
		return 1;
	}
	const double insertSeconds(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());

	std::vector<Tet3*> vTets;
	std::vector<Point3*> vVertices;
	dt.getTetrahedra(vTets);
	dt.getVertices(vVertices);

	bool bValid(true);
	double checkSeconds(0.0);
	if(options.bCheck)
	{
		progress("checking the mesh");
		const auto checkStart(std::chrono::steady_clock::now());
		bValid = dt.checkValidity("vorn3d_demo", true);
		checkSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - checkStart).count();
	}

	if(!options.vtkFile.empty())
	{
		progress("writing " + options.vtkFile);
		std::string errorMessage;
		const std::string& name(options.vtkFile);
		const bool bXml(name.size() >= 4 && name.compare(name.size() - 4, 4, ".vtu") == 0);
		if(!(bXml ? vorn3dapp::writeVtu(name, vVertices, vTets, errorMessage)
				  : vorn3dapp::writeVtk(name, vVertices, vTets, options.bAscii, errorMessage)))
		{
			std::cerr << "vorn3d_demo: " << errorMessage << std::endl;
			return 1;
		}
	}
	if(!options.ooglFile.empty())
	{
		progress("writing " + options.ooglFile);
		dt.show(options.ooglFile, nullptr);
	}

	std::printf("\nVorn3D demo\n");
	std::printf("  points        %zu\n", vPoints.size());
	std::printf("  vertices      %zu\n", vVertices.size());
	std::printf("  tetrahedra    %zu\n", vTets.size());
	std::printf("  insertion     %.3f s\n", insertSeconds);
	std::printf("  peak memory   %.1f MiB\n", peakMemoryMiB());
	if(options.bCheck) std::printf("  validity      %s (%.3f s)\n", bValid ? "passed" : "FAILED", checkSeconds);
	else std::printf("  validity      not checked\n");
	if(!options.vtkFile.empty()) std::printf("  written       %s\n", options.vtkFile.c_str());
	return bValid ? 0 : 1;
}
