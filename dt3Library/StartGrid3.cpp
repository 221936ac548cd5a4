// StartGrid3: the layout of the buckets.
#include "StartGrid3.h"

#include <algorithm>
#include <cmath>

namespace VORN3D {

StartGrid3::StartGrid3(): side(1.0), invSide(0.0), capacity(0), numLevels(0)
{
	for(int i = 0; i < 3; ++i) aMin[i] = 0.0;
	for(Level& level : aLevels) level = Level{{1, 1, 1}, 0};
}

void StartGrid3::reset(const double aLow[3], const double aHigh[3], size_t numPoints)
{
	capacity = numPoints;
	const double numTarget(std::max(1.0, static_cast<double>(numPoints) / static_cast<double>(pointsPerBucket)));
	double aExtent[3];
	bool bUsable(true);
	double maxExtent(0.0);
	for(int i = 0; i < 3; ++i)
	{
		aMin[i] = aLow[i];
		aExtent[i] = aHigh[i] - aLow[i];
		// Extents that overflow (coordinates near the limits of double) or a
		// box that is not one get a single bucket.
		if(!std::isfinite(aLow[i]) || !(aExtent[i] >= 0.0) || !std::isfinite(aExtent[i])) bUsable = false;
		else maxExtent = std::max(maxExtent, aExtent[i]);
	}
	uint32_t aDim[3] = {1, 1, 1};
	side = 1.0;
	invSide = 0.0;
	if(bUsable && maxExtent > 0.0)
	{
		// The cube side that gives numTarget buckets over the axes the box
		// really extends along: an axis shorter than one side gets a single
		// layer and drops out of the count, so that flat and thin boxes get
		// as many buckets as fat ones.
		bool aActive[3];
		for(int i = 0; i < 3; ++i) aActive[i] = aExtent[i] > 0.0;
		double s(maxExtent);
		while(true)
		{
			int numActive(0);
			double sumLog(0.0);
			for(int i = 0; i < 3; ++i)
			{
				if(!aActive[i]) continue;
				++numActive;
				sumLog += std::log(aExtent[i]);
			}
			if(numActive == 0) break;
			s = std::exp((sumLog - std::log(numTarget)) / numActive);
			bool bDropped(false);
			for(int i = 0; i < 3; ++i)
			{
				if(aActive[i] && aExtent[i] < s)
				{
					aActive[i] = false;
					bDropped = true;
				}
			}
			if(!bDropped) break;
		}
		s = std::max(s, maxExtent / static_cast<double>(uint32_t(1) << maxDimBits));
		// Extents in the subnormal range have no finite inverse side: they
		// keep the single bucket.
		if(s > 0.0 && std::isfinite(s) && std::isfinite(1.0 / s))
		{
			side = s;
			invSide = 1.0 / s;
			for(int i = 0; i < 3; ++i)
			{
				const double d(std::ceil(aExtent[i] * invSide));
				aDim[i] = static_cast<uint32_t>(std::min(std::max(d, 1.0), static_cast<double>(uint32_t(1) << maxDimBits)));
			}
		}
	}
	// The levels: level k merges 2^k x 2^k x 2^k buckets of level 0.
	size_t total(0);
	numLevels = 0;
	while(true)
	{
		Level& level(aLevels[numLevels]);
		for(int i = 0; i < 3; ++i) level.aDim[i] = ((aDim[i] - 1) >> numLevels) + 1;
		level.offset = total;
		total += static_cast<size_t>(level.aDim[0]) * level.aDim[1] * level.aDim[2];
		++numLevels;
		if(level.aDim[0] == 1 && level.aDim[1] == 1 && level.aDim[2] == 1) break;
	}
	std::vector<Point3*>(total, nullptr).swap(vBuckets);
}

} // namespace VORN3D
