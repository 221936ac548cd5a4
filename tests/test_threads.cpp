// Several triangulations at once, one object per thread. Each thread's mesh
// is that of the same points built alone, and what the library keeps per
// thread (cell numbers from 1000, the first bulk box enlargement, scene
// colours, timers) starts afresh in every thread, while what it keeps for
// the process (event counts, fault-file numbers) adds up across threads.
// make test-tsan runs this file under ThreadSanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Dt3.h"
#include "HC3.h"
#include "MeshInvariants.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"
#include "Visualizer3.h"
#include "Vorn_3D.h"
#include "testDataGenerators.h"

using namespace VORN3D;

namespace {

const int numThreads(4);
typedef std::array<std::tuple<double, double, double>, 4> Cell;

// What one build observed; all but the fault-file numbers must be the same
// whether the build ran beside others or alone.
struct Outcome
{
	std::vector<Cell> vCells; // corners sorted by coordinates, cells sorted
	std::string fault;		  // the first broken mesh invariant, if any
	// first cell number, numbers taken, lowest and highest live cell number
	std::array<int, 4> aLabels;
	bool bFreshEnlargement, bFreshTimer;
	std::string firstColour;
	std::vector<std::string> vFileNumbers;
	auto key() const { return std::tie(vCells, fault, aLabels, bFreshEnlargement, bFreshTimer, firstColour); }
};

// One Vorn_3D object. The unseeded generator and the timer are called only
// for the sanitizer to watch (the timer is never stopped: that changes the
// format of the shared output stream).
Outcome buildWithOneObject(const std::vector<Point3>& vPoints, const std::string& tag)
{
	Outcome out;
	out.aLabels = {Tet3::runningLabel, 0, INT_MAX, INT_MIN};
	out.bFreshEnlargement = HC3::isFirstBulkEnlargementPending();
	out.bFreshTimer = timer("threads " + tag) == -1.0;
	std::string event("threads: builds");
	benchCounter(event);
	std::vector<double> vRandom;
	generateRandomNumbers(3, 0.0, 1.0, vRandom, 0);
	std::vector<Point3> vInput(vPoints);
	Vorn_3D dt;
	dt.insert(vInput);
	out.aLabels[1] = Tet3::runningLabel - out.aLabels[0];
	out.fault = vtest::checkMeshOf(dt, vPoints);
	std::vector<Tet3*> vTets;
	dt.getTetrahedra(vTets);
	for(Tet3* pT : vTets)
	{
		Cell c;
		for(int i = 0; i < 4; ++i) c[i] = std::make_tuple(pT->getCorner(i)->x(), pT->getCorner(i)->y(), pT->getCorner(i)->z());
		std::sort(c.begin(), c.end());
		out.vCells.push_back(c);
		out.aLabels[2] = std::min(out.aLabels[2], pT->getID());
		out.aLabels[3] = std::max(out.aLabels[3], pT->getID());
	}
	std::sort(out.vCells.begin(), out.vCells.end());
	const std::string sceneFile(::testing::TempDir() + "vorn3d_threads_" + tag + ".list");
	{
		Visualizer3 scene(sceneFile);
		out.firstColour = scene.getNextColor();
	}
	std::remove(sceneFile.c_str());
	for(int i = 0; i < 3; ++i) out.vFileNumbers.push_back(Dt3::nextFileNumber());
	return out;
}

// A way to build a mesh on one thread; other builders join as further cases.
struct Builder
{
	const char* name;
	Outcome (*build)(const std::vector<Point3>&, const std::string&);
};
void PrintTo(const Builder& b, std::ostream* os)
{
	*os << b.name;
}

class Threads: public ::testing::TestWithParam<Builder> {};

// Each thread builds its own point set; the same builds afterwards, each
// alone on a fresh thread, are the reference.
TEST_P(Threads, ConcurrentBuildsEqualLoneBuilds)
{
	std::vector<std::vector<Point3>> vSets;
	for(int t = 0; t < numThreads; ++t) vSets.push_back(vtest::randomPoints(1000 + 400 * t, 17u + t, 100.0));
	std::vector<Outcome> vTogether(numThreads), vAlone(numThreads);
	std::vector<std::thread> vThreads;
	for(int t = 0; t < numThreads; ++t)
		vThreads.emplace_back([&, t] { vTogether[t] = GetParam().build(vSets[t], std::to_string(t)); });
	for(std::thread& th : vThreads) th.join();
	for(int t = 0; t < numThreads; ++t)
		std::thread([&, t] { vAlone[t] = GetParam().build(vSets[t], std::to_string(t)); }).join();

	std::set<std::string> sFileNumbers;
	for(int t = 0; t < numThreads; ++t)
	{
		const Outcome& o(vTogether[t]);
		const Outcome& alone(vAlone[t]);
		SCOPED_TRACE("thread " + std::to_string(t));
		EXPECT_EQ(o.fault, "");
		EXPECT_EQ(o.aLabels[0], 1000);
		EXPECT_TRUE(o.aLabels[2] >= 1000 && o.aLabels[3] < 1000 + o.aLabels[1]);
		EXPECT_TRUE(o.bFreshEnlargement && o.bFreshTimer);
		EXPECT_EQ(o.firstColour, Visualizer3::colorArray[0]);
		EXPECT_TRUE(o.key() == alone.key());
		for(const Outcome* pO : {&o, &alone}) sFileNumbers.insert(pO->vFileNumbers.begin(), pO->vFileNumbers.end());
	}
	// Every fault-file number is handed out once, whichever thread asks.
	EXPECT_EQ(sFileNumbers.size(), size_t(2 * numThreads * 3));
	std::string report("GETCOUNTERS");
	vtest::StdoutCapture counters;
	benchCounter(report);
	EXPECT_NE(counters.str().find("threads: builds\t" + std::to_string(2 * numThreads) + "\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Builders, Threads, ::testing::Values(Builder{"OneObject", buildWithOneObject}),
	[](const ::testing::TestParamInfo<Builder>& info) { return std::string(info.param.name); });

} // namespace
