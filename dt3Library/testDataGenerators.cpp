#include "testDataGenerators.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <map>

#include "tools.h"

namespace VORN3D {

namespace {

// The generators promise at most 32768 distinct values per range, as with a
// C library whose rand() tops out at 32767. Where rand() is wider, its high
// bits (the better ones) are reduced to 15.
constexpr unsigned long long randRange(static_cast<unsigned long long>(RAND_MAX) + 1ULL);
static_assert(randRange >= 32768ULL, "rand() must deliver at least 15 bits");

int rand15()
{
	return static_cast<int>(static_cast<unsigned long long>(rand()) / (randRange / 32768ULL));
}

// Number of unseeded calls so far: each reseeds once more than the previous
// one, so two calls within the same second still draw different sequences.
// Counted for the process, like the sequence of rand() it reseeds, so that
// calls from different threads differ too.
std::atomic<unsigned int> numUnseededCalls(0);

using TimerClock = std::chrono::steady_clock;

// One table per thread: a timer is started and stopped by the same thread,
// and equal names on two threads are two timers.
std::map<std::string, TimerClock::rep>& timerTable()
{
	thread_local std::map<std::string, TimerClock::rep> table;
	return table;
}

TimerClock::rep readCounter()
{
	return TimerClock::now().time_since_epoch().count();
}

// Ticks per second of the counter; 0 if it were unknown.
double counterFrequency()
{
	return static_cast<double>(TimerClock::period::den) / static_cast<double>(TimerClock::period::num);
}

} // namespace

void generateRandomNumbers(uint64_t count, double min, double max, std::vector<double>& out, uint32_t seed)
{
	if(seed != 0)
	{
		srand(seed);
	}
	else
	{
		srand(static_cast<unsigned int>(time(nullptr)));
		const unsigned int numEarlierCalls(numUnseededCalls.fetch_add(1, std::memory_order_relaxed));
		for(unsigned int i = 0; i < numEarlierCalls; ++i) srand(static_cast<unsigned int>(rand()));
	}
	ASSERT_CONDITION(min<max);
	const double range(max - min);
	const double scale(1.0 / 32768.0);
	for(uint64_t i = 0; i < count; ++i)
	{
		out.push_back(rand15() * range * scale + min);
	}
}

void generateRandomPoints(uint64_t count, double min, double max, std::vector<Point3>& out, uint32_t seed)
{
	ASSERT_CONDITION(min<max);
	std::vector<double> vRandom;
	vRandom.reserve(3 * count);
	generateRandomNumbers(3 * count, min, max, vRandom, seed);
	// Steps of 3 below 2*count: this yields ceil(2*count/3) points from the
	// front of the numbers drawn. Callers and stored test data rely on this
	// count, so it stays.
	for(uint64_t i = 0; i < 2 * count; i += 3)
	{
		out.push_back(Point3(vRandom[i], vRandom[i + 1], vRandom[i + 2]));
	}
}

double timer(const std::string& name)
{
	std::map<std::string, TimerClock::rep>& table(timerTable());
	std::map<std::string, TimerClock::rep>::iterator it(table.find(name));
	if(it == table.end())
	{
		table[name] = readCounter();
		std::cout << std::endl;
		std::cout << "*** Timer [" << name << "] start" << std::endl;
		return -1.0;
	}
	const TimerClock::rep now(readCounter());
	const double frequency(counterFrequency());
	if(!(frequency > 0.0)) std::cout << "no timer present,sorry" << std::endl;
	const double elapsed(static_cast<double>(now - it->second) / frequency);
	std::cout << "*** Timer [" << name << "] stop, elapsed time: " << std::fixed << std::setprecision(3) << elapsed
			  << " s" << std::endl
			  << std::endl;
	std::cout.precision(6);
	table.erase(it);
	return elapsed;
}

Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2)
{
	Vector3 u(p1 - p0);
	Vector3 v(p2 - p0);
	u.normalize();
	v.normalize();
	Vector3 n(u.cross(v));
	n.normalize();
	return n;
}

} // namespace VORN3D
