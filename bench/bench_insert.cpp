// Times Vorn_3D::insert on uniform random points and on a regular grid.
//
//   bench_insert [repetitions] [case ...]
//
// Cases: 1e5, 1e6, 5e6 (uniform random points in the unit cube) and grid100
// (the 100^3 integer grid); all four by default. A case name ending in "+p"
// (1e6+p, grid100+p) runs with the symbolic perturbation on. Every run happens in its own
// child process so that the peak memory (getrusage) belongs to that run
// alone. Prints, per case, the median wall and CPU time of the insertion
// over the repetitions, the number of cells and the peak resident memory,
// and the wall time of one getTetrahedra on the finished mesh (first run).
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Tet3;
using VORN3D::Vorn_3D;

namespace {

/// A case name without its "+p" (perturbation) suffix.
std::string baseName(const std::string& name)
{
	const bool bPerturb(name.size() > 2 && name.compare(name.size() - 2, 2, "+p") == 0);
	return bPerturb ? name.substr(0, name.size() - 2) : name;
}

std::vector<Point3> makeInput(const std::string& caseName)
{
	const std::string name(baseName(caseName));
	std::vector<Point3> vPoints;
	if(name == "grid100")
	{
		for(int i = 0; i < 100; ++i)
		{
			for(int j = 0; j < 100; ++j)
			{
				for(int k = 0; k < 100; ++k) vPoints.push_back(Point3(i, j, k));
			}
		}
		return vPoints;
	}
	const size_t n(static_cast<size_t>(std::atof(name.c_str())));
	std::mt19937_64 rng(12345);
	std::uniform_real_distribution<double> dist(0.0, 1.0);
	vPoints.reserve(n);
	for(size_t i = 0; i < n; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng));
		vPoints.push_back(Point3(x, y, z));
	}
	return vPoints;
}

double cpuSeconds()
{
	struct rusage usage;
	getrusage(RUSAGE_SELF, &usage);
	return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
		1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

struct RunResult
{
	double seconds = -1.0;
	double cpuSeconds = -1.0;
	long peakKB = 0;
	long numCells = -1;
	double tetsSeconds = -1.0;
};

// One run in this (child) process; writes "seconds peakKB cells" to fd.
void runOnce(const std::string& caseName, bool bCountCells, int fd)
{
	std::vector<Point3> vPoints(makeInput(caseName));
	Vorn_3D* pVorn(new Vorn_3D);
	pVorn->setPerturbation(baseName(caseName) != caseName);
	std::vector<Point3*> vHandles;
	// The kernel reports the input size on standard output; keep it out of
	// the table.
	std::cout.setstate(std::ios::failbit);
	const double cpu0(cpuSeconds());
	const auto t0(std::chrono::steady_clock::now());
	pVorn->insert(vPoints, vHandles);
	const auto t1(std::chrono::steady_clock::now());
	const double cpu1(cpuSeconds());
	struct rusage usage;
	getrusage(RUSAGE_SELF, &usage);
	long numCells(-1);
	double tetsSeconds(-1.0);
	if(bCountCells)
	{
		std::vector<Tet3*> vTets;
		const auto t2(std::chrono::steady_clock::now());
		pVorn->getTetrahedra(vTets);
		tetsSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t2).count();
		numCells = static_cast<long>(vTets.size());
	}
	std::cout.clear();
	std::ostringstream os;
	os << std::chrono::duration<double>(t1 - t0).count() << " " << (cpu1 - cpu0) << " " << usage.ru_maxrss << " "
	   << numCells << " " << tetsSeconds << "\n";
	const std::string s(os.str());
	if(write(fd, s.data(), s.size()) < 0) perror("write");
	// Leave the teardown to the process exit: it is not what is measured.
	_exit(0);
}

RunResult runInChild(const std::string& name, bool bCountCells)
{
	int fds[2];
	if(pipe(fds) != 0)
	{
		perror("pipe");
		exit(1);
	}
	const pid_t pid(fork());
	if(pid == 0)
	{
		close(fds[0]);
		runOnce(name, bCountCells, fds[1]);
	}
	close(fds[1]);
	std::string text;
	char buffer[256];
	ssize_t got;
	while((got = read(fds[0], buffer, sizeof(buffer))) > 0) text.append(buffer, static_cast<size_t>(got));
	close(fds[0]);
	int status(0);
	waitpid(pid, &status, 0);
	RunResult result;
	if(WIFEXITED(status) && WEXITSTATUS(status) == 0)
	{
		std::istringstream is(text);
		is >> result.seconds >> result.cpuSeconds >> result.peakKB >> result.numCells >> result.tetsSeconds;
	}
	return result;
}

} // namespace

int main(int argc, char** argv)
{
	int numReps(3);
	std::vector<std::string> vCases;
	for(int i = 1; i < argc; ++i)
	{
		const std::string arg(argv[i]);
		if(i == 1 && arg.find_first_not_of("0123456789") == std::string::npos) numReps = std::max(1, std::atoi(argv[i]));
		else vCases.push_back(arg);
	}
	if(vCases.empty()) vCases = {"1e5", "1e6", "5e6", "grid100"};

	// Wall time is what a caller waits; CPU time is steadier on a shared
	// machine. Both are medians over the repetitions.
	std::printf("%-10s %10s %10s %10s %10s %10s %10s  %s\n", "case", "points", "cells", "wall [s]", "cpu [s]", "peak [MB]",
		"tets [s]", "wall per run [s]");
	for(const std::string& name : vCases)
	{
		std::vector<double> vSeconds;
		std::vector<double> vCpu;
		long numCells(-1), peakKB(0);
		double tetsSeconds(-1.0);
		bool bFailed(false);
		for(int rep = 0; rep < numReps; ++rep)
		{
			const RunResult r(runInChild(name, rep == 0));
			if(r.seconds < 0.0)
			{
				bFailed = true;
				break;
			}
			vSeconds.push_back(r.seconds);
			vCpu.push_back(r.cpuSeconds);
			if(rep == 0) numCells = r.numCells, tetsSeconds = r.tetsSeconds;
			peakKB = std::max(peakKB, r.peakKB);
		}
		if(bFailed)
		{
			std::printf("%-10s FAILED\n", name.c_str());
			continue;
		}
		std::vector<double> vSorted(vSeconds);
		std::sort(vSorted.begin(), vSorted.end());
		std::sort(vCpu.begin(), vCpu.end());
		std::ostringstream runs;
		for(double s : vSeconds) runs << s << " ";
		std::printf("%-10s %10zu %10ld %10.3f %10.3f %10.1f %10.3f  %s\n", name.c_str(), makeInput(name).size(),
			numCells, vSorted[vSorted.size() / 2], vCpu[vCpu.size() / 2], static_cast<double>(peakKB) / 1024.0,
			tetsSeconds, runs.str().c_str());
		std::fflush(stdout);
	}
	return 0;
}
