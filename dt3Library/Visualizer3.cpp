#include "Visualizer3.h"

#include <cassert>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "Tet3.h"
#include "tools.h"

namespace VORN3D {

// Two values carry a tab after their first number and LIGHTGRAY is darker
// than GRAY; scene files written so far depend on these exact strings.
const char* const Visualizer3::colorArray[Visualizer3::numColors] = {
	"0 0.749 1 0.5",
	"0 0.1 .803 0.5",
	"1 1 0 0.5",
	"1 0.411 0.705 0.5",
	"0.1 0.1 0.1 0.5",
	"0.823 0.705 0.549 0.5",
	"0.545 0.271 0.074 0.5",
	"1 0.627 0 0.5",
	"0.627 0.125 0.941 0.5",
	".745 .745 .745 0.5",
	".445 .445 .445 0.5",
	"1 0 0 0.5",
	"0 1 0 0.5",
	"1 1 1 0.5",
	".86 .08 .24 0.5",
	"1 .55 0 0.5",
	".85 .65 .13 0.5",
	".5 .5 .0 0.5",
	"0.49\t0.99 0.00 0.5",
	"0.68 1.00 0.18 0.5",
	"0.60\t0.98 0.60 0.5",
	"0.00 0.98 0.60 0.5",
	"0.13 0.70 0.67 0.5",
	"0.00 1.00 1.00 0.5",
	"0.27 0.51 0.71 0.5",
	"0.10 0.10 0.44 0.5",
	"0.96 0.87 0.7 0.5"};

const char* const Visualizer3::colorNames[Visualizer3::numColors] = {"LIGHTBLUE", "DARKBLUE", "YELLOW", "PINK",
	"BLACK", "LIGHTBROWN", "DARKBROWN", "ORANGE", "PURPLE", "GRAY", "LIGHTGRAY", "RED", "GREEN", "WHITE", "CRIMSON",
	"CDARKORANGE", "CGOLDENROD", "COLIVE", "CLAWNGREEN", "CGREENYELLOW", "CPALEGREEN", "CMEDSPRINGGREEN",
	"CLIGHTSEAGREAN", "CCYAN", "CSTEELBLUE", "MIDNIGHTBLUE", "CWHEAT"};

thread_local int Visualizer3::colorNumber(0);

namespace {
// Only the first 14 colours (up to WHITE) take part in the cycle.
const int numCycledColors(14);
} // namespace

Visualizer3::Visualizer3(const std::string& filename)
{
	std::cout << "Visualizer, writing " << filename << std::endl;
	file.open(filename.c_str());
	if(!file.is_open())
	{
		std::cout << filename << " not open" << std::endl;
		exit(1);
	}
	std::cout << "  Writing " << filename << std::endl;
	file << "LIST" << std::endl;
	file << "{" << std::endl;
}

Visualizer3::~Visualizer3()
{
	close();
}

void Visualizer3::close()
{
	if(!file.is_open()) return;
	file << "}" << std::endl;
	file.close();
}

std::string Visualizer3::getColor()
{
	if(colorNumber >= numCycledColors)
	{
		std::cout << "Attention, returning colorArray[13] which is the last available color" << std::endl;
		return colorArray[numCycledColors - 1];
	}
	return colorArray[colorNumber];
}

std::string Visualizer3::getNextColor()
{
	const std::string color(getColor());
	colorNumber = (colorNumber + 1) % numCycledColors;
	return color;
}

void Visualizer3::setColorNumber(int number)
{
	colorNumber = number;
}

void Visualizer3::writePoints(const std::vector<Point3>& vPoints, unsigned int linewidth, const std::string& color)
{
	if(vPoints.empty())
	{
		printWarning("Visualizer3::writePoints", "vPoints.empty()");
		return;
	}
	const size_t n(vPoints.size());
	file << "LIST\n{\nappearance{linewidth " << linewidth << "}" << std::endl;
	file << "VECT" << std::endl;
	// n polylines of one vertex each; only the first carries the colour.
	file << n << " " << n << " 1" << std::endl;
	for(size_t i = 0; i < n; ++i) file << "1 ";
	file << std::endl;
	file << "1 ";
	for(size_t i = 1; i < n; ++i) file << "0 ";
	file << std::endl;
	for(const Point3& p : vPoints) file << p.x() << " " << p.y() << " " << p.z() << "\n";
	file << color << std::endl;
	file << "}" << std::endl;
}

void Visualizer3::writePoint(const Point3& p, unsigned int linewidth, const std::string& color)
{
	const std::vector<Point3> vPoints(1, p);
	writePoints(vPoints, linewidth, color);
}

void Visualizer3::writeSegment(const Point3& a, const Point3& b, const std::string& color)
{
	file << "{" << std::endl;
	file << "VECT" << std::endl;
	file << "1 2 1" << std::endl;
	file << "2" << std::endl;
	file << "1" << std::endl;
	file << a.x() << " " << a.y() << " " << a.z() << "\n";
	file << b.x() << " " << b.y() << " " << b.z() << "\n";
	file << color << std::endl;
	file << "}" << std::endl;
}

void Visualizer3::writePolygon(const std::vector<Point3>& vPoints, const std::string& color)
{
	assert(vPoints.size()>2);
	const int n(static_cast<int>(vPoints.size()));
	if(color == "BOUNDARY")
	{
		for(int i = 0; i < n; ++i) writeSegment(vPoints[i], vPoints[(i + 1) % n], "0 0 0 1");
		return;
	}
	const Point3& p0(vPoints[0]);
	for(int i = 1; i < n - 1; ++i)
	{
		const Point3& p1(vPoints[i]);
		const Point3& p2(vPoints[i + 1]);
		file << "{" << std::endl;
		file << "OFF" << std::endl;
		file << "3 1 0" << std::endl;
		file << p0.x() << " " << p0.y() << " " << p0.z() << "\n";
		file << p1.x() << " " << p1.y() << " " << p1.z() << "\n";
		file << p2.x() << " " << p2.y() << " " << p2.z() << "\n";
		file << "3 0 1 2 " << color << std::endl;
		file << "}" << std::endl;
	}
}

void Visualizer3::writeTet(Tet3* c, const std::string& color)
{
	// A null cell is reported and then used all the same: the caller's bug
	// shows up at this spot rather than later in a corrupt scene.
	if(c == nullptr) printError("Visualizer3:.writeTet()", "c==NULL");
	for(int i = 0; i < 4; ++i)
	{
		std::vector<Point3> vFacet;
		vFacet.reserve(3);
		for(int k = 0; k < 4; ++k)
		{
			if(k != i) vFacet.push_back(*c->getCorner(k));
		}
		writePolygon(vFacet, color);
	}
}

void Visualizer3::writeBall(const Point3& center, double sqRadius)
{
	file << "{\n"
		 << "appearance { +edge -face }\n"
		 << "SPHERE " << std::sqrt(sqRadius) << " " << center.x() << " " << center.y() << " " << center.z() << "\n}"
		 << std::endl;
}

} // namespace VORN3D
