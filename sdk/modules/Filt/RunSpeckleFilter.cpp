#include "RunSpeckleFilter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "JoinMasks.h"
#include "SimdSupport.h"

namespace orrindale {

namespace {

struct Run {
    int32_t start;  // pixel index of the first pixel
    int32_t end;    // pixel index of the last pixel
};

using RowMasks = JoinMasks::Row;

std::size_t wordsPerRow(int width) { return JoinMasks::wordsPerRow(width); }

std::size_t maskBytes(int width) { return 3 * wordsPerRow(width) * sizeof(uint64_t); }

// Each area starts on an 8-byte boundary.
constexpr std::size_t kAlignSlack = 8;

inline int countTrailingZeros(uint64_t v) { return __builtin_ctzll(v); }

// Any bit of `bits` set in columns lo .. hi (inclusive)?
bool anyBit(const uint64_t* bits, int lo, int hi)
{
    const int first = lo >> 6, last = hi >> 6;
    const uint64_t loMask = ~uint64_t{0} << (lo & 63);
    const uint64_t hiMask = ~uint64_t{0} >> (63 - (hi & 63));
    if (first == last) return (bits[first] & loMask & hiMask) != 0;
    if (bits[first] & loMask) return true;
    for (int k = first + 1; k < last; ++k)
        if (bits[k]) return true;
    return (bits[last] & hiMask) != 0;
}

// Union-find over run ids: a root holds minus its region size.
class RegionForest {
public:
    explicit RegionForest(int32_t* parent) : m_parent(parent) {}
    void add(int32_t id, int32_t size) { m_parent[id] = -size; }
    int32_t find(int32_t x)
    {
        while (m_parent[x] >= 0) {
            const int32_t p = m_parent[x];
            if (m_parent[p] < 0) return p;
            m_parent[x] = m_parent[p];  // path halving
            x = m_parent[p];
        }
        return x;
    }
    void join(int32_t a, int32_t b)
    {
        int32_t ra = find(a), rb = find(b);
        if (ra == rb) return;
        if (m_parent[ra] > m_parent[rb]) std::swap(ra, rb);  // ra is the larger region
        m_parent[ra] += m_parent[rb];
        m_parent[rb] = ra;
    }
    int64_t sizeOf(int32_t root) const { return -static_cast<int64_t>(m_parent[root]); }

private:
    int32_t* m_parent;
};

}  // namespace

bool RunSpeckleFilter::fits(int width, int height, std::size_t workBytes)
{
    if (width <= 0 || height <= 0) return false;
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (pixels > static_cast<std::size_t>(INT32_MAX)) return false;
    const std::size_t need = kAlignSlack + maskBytes(width) + pixels * (sizeof(Run) + sizeof(int32_t));
    return need <= workBytes;
}

void RunSpeckleFilter::apply(int16_t* depth, int width, int height, const SpeckleParameters& params, uint8_t* work,
                             std::size_t /*workBytes*/)
{
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    JoinMasks::clearBeyond(depth, pixels, params.maxDepth);

    const std::size_t words = wordsPerRow(width);
    auto* masks = reinterpret_cast<uint64_t*>((reinterpret_cast<uintptr_t>(work) + 7) & ~uintptr_t{7});
    const RowMasks m{masks, masks + words, masks + 2 * words};
    auto* runs = reinterpret_cast<Run*>(masks + 3 * words);
    auto* parent = reinterpret_cast<int32_t*>(runs + pixels);
    RegionForest forest(parent);

    const int newVal = params.newVal;
    const int maxDiff = params.maxDiff;
    int32_t runCount = 0;
    int32_t aboveFirst = 0;  // runs of the row above: [aboveFirst, rowFirst)
    for (int y = 0; y < height; ++y) {
        const int16_t* row = depth + static_cast<std::size_t>(y) * width;
        const int16_t* above = y > 0 ? row - width : nullptr;
        JoinMasks::compute(row, above, width, newVal, maxDiff, m);
        const int32_t rowBase = static_cast<int32_t>(static_cast<std::size_t>(y) * width);
        const int32_t aboveBase = rowBase - width;
        const int32_t rowFirst = runCount;
        int32_t k = aboveFirst;
        uint64_t carry = 0;  // right-join bit of the last pixel of the previous word
        for (std::size_t w = 0; w < words; ++w) {
            // A run starts at a valid pixel not joined from its left neighbour.
            uint64_t starts = m.valid[w] & ~((m.right[w] << 1) | carry);
            carry = m.right[w] >> 63;
            while (starts != 0) {
                const int start = static_cast<int>(w * 64) + countTrailingZeros(starts);
                starts &= starts - 1;
                // It ends at the first valid pixel from there not joined to its right.
                std::size_t e = static_cast<std::size_t>(start) >> 6;
                uint64_t ends = (m.valid[e] & ~m.right[e]) & (~uint64_t{0} << (start & 63));
                while (ends == 0) {
                    ++e;
                    ends = m.valid[e] & ~m.right[e];
                }
                const int end = static_cast<int>(e * 64) + countTrailingZeros(ends);
                const int32_t id = runCount++;
                runs[id] = {rowBase + start, rowBase + end};
                forest.add(id, end - start + 1);
                // Join the runs above that share a column whose pixel joins upwards.
                while (k < rowFirst && runs[k].end - aboveBase < start) ++k;
                for (int32_t j = k; j < rowFirst && runs[j].start - aboveBase <= end; ++j) {
                    const int lo = std::max(start, runs[j].start - aboveBase);
                    const int hi = std::min(end, runs[j].end - aboveBase);
                    if (anyBit(m.up, lo, hi)) forest.join(id, j);
                }
            }
        }
        aboveFirst = rowFirst;
    }

    const int64_t maxSpeckle = params.maxSpeckleSize;
    const int16_t newValue = params.newVal;
    for (int32_t id = 0; id < runCount; ++id) {
        if (forest.sizeOf(forest.find(id)) > maxSpeckle) continue;
        std::fill(depth + runs[id].start, depth + runs[id].end + 1, newValue);
    }
}

}  // namespace orrindale
