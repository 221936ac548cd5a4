// Vertex store alone: bulk insertion of random points (keys, sort, ordered
// set, pools), single insertions, the vertex list and near-cell queries.
//
//   make bench && build/bench/bench/bench_store
#include <benchmark/benchmark.h>

#include <algorithm>
#include <new>
#include <random>
#include <set>
#include <vector>

#include "HC3.h"
#include "Tet3.h"

using VORN3D::HC3;
using VORN3D::Point3;
using VORN3D::Tet3;

namespace {

std::vector<Point3> randomPoints(size_t num, unsigned seed)
{
	std::mt19937_64 rng(seed);
	std::uniform_real_distribution<double> coord(0.0, 1.0);
	std::vector<Point3> v;
	v.reserve(num);
	for(size_t i = 0; i < num; ++i) v.push_back(Point3(coord(rng), coord(rng), coord(rng)));
	return v;
}

// Construction, bulk insertion and destruction of a store.
void BM_BulkInsert(benchmark::State& state)
{
	const std::vector<Point3> vInput(randomPoints(static_cast<size_t>(state.range(0)), 1));
	for(auto _ : state)
	{
		HC3 store;
		std::vector<Point3*> vHandles, vOrdered;
		store.insert(vInput, vHandles, vOrdered);
		benchmark::DoNotOptimize(vOrdered.data());
		benchmark::ClobberMemory();
	}
	state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_BulkInsert)->Arg(1000000)->Iterations(1)->Repetitions(7)->ReportAggregatesOnly(true)->Unit(
	benchmark::kMillisecond);

// Reference for the store's ordered sequence: the same work (keys, sort by
// key and position, pooled entries and vertices, duplicate check) with the
// entries kept in a std::set, as the store did at first.
void BM_BulkInsertStdSetReference(benchmark::State& state)
{
	const std::vector<Point3> vInput(randomPoints(static_cast<size_t>(state.range(0)), 1));
	for(auto _ : state)
	{
		// A store only for its box and keys.
		HC3 keyStore;
		Tet3* pDup(nullptr);
		keyStore.insert(Point3(0, 0, 0), pDup);
		keyStore.insert(Point3(1, 1, 1), pDup);
		VORN3D::SimplePool<Point3> vertexPool;
		VORN3D::SimplePool<VORN3D::IdxVtx> entryPool;
		vertexPool.init(4, -1);
		entryPool.init(4, -1);
		std::set<VORN3D::IdxVtx*, VORN3D::IdxVtxLess> entrySet;
		std::vector<uint64_t> vKeyPos(vInput.size());
		for(size_t i = 0; i < vInput.size(); ++i) vKeyPos[i] = (uint64_t(keyStore.getKey(vInput[i])) << 32) | i;
		std::sort(vKeyPos.begin(), vKeyPos.end());
		std::vector<Point3*> vHandles(vInput.size()), vOrdered;
		std::set<VORN3D::IdxVtx*, VORN3D::IdxVtxLess>::iterator itHint(entrySet.end());
		for(const uint64_t keyPos : vKeyPos)
		{
			const size_t pos(keyPos & 0xffffffffu);
			VORN3D::IdxVtx* pEntry(entryPool.alloc());
			pEntry->key = static_cast<uint32_t>(keyPos >> 32);
			pEntry->pVtx = const_cast<Point3*>(&vInput[pos]);
			itHint = entrySet.insert(itHint, pEntry);
			if(*itHint == pEntry)
			{
				pEntry->pVtx = new(vertexPool.alloc()) Point3(vInput[pos].x(), vInput[pos].y(), vInput[pos].z());
				vOrdered.push_back(pEntry->pVtx);
			}
			vHandles[pos] = (*itHint)->pVtx;
		}
		benchmark::DoNotOptimize(vOrdered.data());
		benchmark::ClobberMemory();
	}
	state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_BulkInsertStdSetReference)->Arg(1000000)->Iterations(1)->Repetitions(7)->ReportAggregatesOnly(true)->Unit(
	benchmark::kMillisecond);

// One point at a time (each growth of the box rebuilds the set).
void BM_SingleInsert(benchmark::State& state)
{
	const std::vector<Point3> vInput(randomPoints(static_cast<size_t>(state.range(0)), 2));
	for(auto _ : state)
	{
		HC3 store;
		Tet3* pDup(nullptr);
		for(const Point3& p : vInput) benchmark::DoNotOptimize(store.insert(p, pDup));
	}
	state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SingleInsert)->Arg(1000000)->Iterations(1)->Repetitions(5)->ReportAggregatesOnly(true)->Unit(
	benchmark::kMillisecond);

void BM_GetVertices(benchmark::State& state)
{
	HC3 store;
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(randomPoints(static_cast<size_t>(state.range(0)), 3), vHandles, vOrdered);
	std::vector<Point3*> vVertices;
	for(auto _ : state)
	{
		vVertices.clear();
		store.getVertices(vVertices);
		benchmark::DoNotOptimize(vVertices.data());
	}
	state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetVertices)->Arg(1000000)->Unit(benchmark::kMillisecond);

// Every vertex has a (fake) cell, so each query ends at its lower bound.
void BM_NearTet(benchmark::State& state)
{
	HC3 store;
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(randomPoints(static_cast<size_t>(state.range(0)), 4), vHandles, vOrdered);
	alignas(Tet3) static unsigned char aCell[sizeof(Tet3)];
	for(Point3* p : vOrdered) p->setOneTet(reinterpret_cast<Tet3*>(aCell));
	const std::vector<Point3> vQueries(randomPoints(100000, 5));
	for(auto _ : state)
	{
		for(const Point3& q : vQueries) benchmark::DoNotOptimize(store.getNearTet(q));
	}
	state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(vQueries.size()));
}
BENCHMARK(BM_NearTet)->Arg(1000000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
